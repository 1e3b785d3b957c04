// zttsp.dll's export table against the public headers listed in tests/windows/CMakeLists.txt:
// every public member function of every exported class, and every exported free function, is
// exported by name; nothing else is, apart from the other members, virtual tables and type
// information of those classes.
#include <gtest/gtest.h>

#include <cstring>
#include <sstream>

#include "tests/support/test_support.h"
#include "tests/windows/declared_exports.h"
#include "tests/windows/export_table.h"

namespace {

using zttsp_test::DeclaredExports;

std::string lines(const std::vector<std::string>& items) {
  std::string text;
  for (const auto& item : items)
    text += "  " + item + "\n";
  return text;
}

// What the listed headers declare; each must declare something for export.
DeclaredExports declaredExports() {
  DeclaredExports declared;
  std::stringstream list(ZTTSP_PUBLIC_HEADERS);
  std::string header;
  while (std::getline(list, header, ',')) {
    const std::size_t before = declared.allowed.size();
    zttsp_test::scanPublicHeader(zttsp_test::readText(std::string(ZTTSP_SOURCE_DIR) + "/" + header),
                                 declared);
    EXPECT_LT(before, declared.allowed.size()) << header << " declares nothing for export";
  }
  return declared;
}

bool isClassData(const std::string& readable, const DeclaredExports& declared) {
  for (const char* prefix : {"vtable for ", "typeinfo for ", "typeinfo name for "}) {
    if (readable.rfind(prefix, 0) == 0)
      return declared.classes.count(readable.substr(std::strlen(prefix))) > 0;
  }
  return false;
}

class ZttspDll : public testing::Test {
 protected:
  void SetUp() override { ASSERT_NE(nullptr, dll_) << "cannot load zttsp.dll"; }
  ~ZttspDll() override { FreeLibrary(dll_); }

  HMODULE dll_ = LoadLibraryA("zttsp.dll");
};

TEST_F(ZttspDll, ExportsEveryPublicMemberByNameAndNothingInternal) {
  const DeclaredExports declared = declaredExports();
  const zttsp_test::ExportTable table = zttsp_test::exportTableOf(dll_);
  EXPECT_EQ(table.names.size(), table.functions) << "some exports have no name";

  std::set<std::string> exported;
  std::vector<std::string> internal, missing;
  for (const auto& name : table.names) {
    const std::string readable = zttsp_test::demangle(name);
    if (isClassData(readable, declared)) continue;
    const std::string key = zttsp_test::signatureKey(readable);
    if (declared.allowed.count(key) > 0) {
      exported.insert(key);
    } else {
      internal.push_back(readable);
    }
  }
  for (const auto& key : declared.required)
    if (exported.count(key) == 0) missing.push_back(key);
  EXPECT_TRUE(missing.empty()) << "declared public but not exported:\n" << lines(missing);
  EXPECT_TRUE(internal.empty()) << "exported but not declared in a public header:\n"
                                << lines(internal);
}

// Windows' own DLLs and the outside libraries only: the GCC runtime is linked in, so that the
// DLL runs where nothing else is installed.
TEST_F(ZttspDll, ImportsOnlyWindowsAndTheOutsideLibraries) {
  const std::set<std::string> allowed = {"kernel32.dll", "crypt32.dll", "advapi32.dll",
                                         "msvcrt.dll",   "ztlib.dll",   "ztasn1.dll"};
  for (std::string module : zttsp_test::importedModulesOf(dll_))
    EXPECT_EQ(1u, allowed.count(CharLowerA(&module[0]))) << module;
}

// The scanner on the constructs the public headers use, so that a scanning fault cannot make
// the export check pass by finding nothing.
TEST(DeclaredExports, ScansClassesAccessBodiesOperatorsAndFreeFunctions) {
  const char header[] = R"(
    #include "sdk/export.h"
    namespace Zanthorel {
    namespace PKI { namespace TSP {
    struct CHiddenImpl;                        // forward declaration
    struct ZTTSP_API CValue {                  // public by default
      CValue(std::uint32_t a = 0, std::uint32_t b = f(1, 2));
      std::uint32_t a;
    };
    ZTTSP_API bool operator==(const CValue& a, const CValue& b);
    bool notExported(int x);
    extern "C" {
    typedef struct c_thing c_thing;
    ZTTSP_C_API int c_function(c_thing* thing, int x);
    int c_hidden(void);
    }
    class ZTTSP_API CThing : public CBase {
     public:
      CThing();
      CThing(const CThing& other);
      CThing& operator=(const CThing& other);
      ~CThing() override;
      const CDllList<CBlob>* get_list() const;
      void put_list(const CDllList<CBlob>* list, int a = g(3, 4));
      int inlineOne() const noexcept { return 1; }
      CThing(CThing&&) = delete;
      struct Nested { int x; };
     private:
      void clear();
      CHiddenImpl* impl_;
    };
    class NotExported { public: void f(); };
    }}}  // namespaces
  )";
  DeclaredExports declared;
  zttsp_test::scanPublicHeader(header, declared);
  const std::string ns = "Zanthorel::PKI::TSP::";
  EXPECT_EQ(std::set<std::string>({ns + "CValue", ns + "CThing"}), declared.classes);
  EXPECT_EQ(std::set<std::string>({ns + "CValue::CValue/2", ns + "operator==/2", "c_function",
                                   ns + "CThing::CThing/0", ns + "CThing::CThing/1",
                                   ns + "CThing::operator=/1", ns + "CThing::~CThing/0",
                                   ns + "CThing::get_list/0 const", ns + "CThing::put_list/2"}),
            declared.required);
  EXPECT_EQ(1u, declared.allowed.count(ns + "CThing::clear/0"));
  EXPECT_EQ(1u, declared.allowed.count(ns + "CThing::inlineOne/0 const"));
  EXPECT_EQ(declared.required.size() + 2, declared.allowed.size());
}

}  // namespace
