// zttsp.dll's export table against tests/windows/expected_exports.txt: the exported names, one a
// line, as the linker writes them (`x86_64-w64-mingw32-objdump -p` of the DLL). A change to the
// exports that is meant (a public signature, a new member) rewrites the list from the built DLL:
//   cmake --build --preset windows --target expected_exports
#include <gtest/gtest.h>

#include <set>
#include <sstream>
#include <string>

#include "tests/support/test_support.h"
#include "tests/windows/export_table.h"

namespace {

class ZttspDll : public testing::Test {
 protected:
  void SetUp() override { ASSERT_NE(nullptr, dll_) << "cannot load zttsp.dll"; }
  ~ZttspDll() override { FreeLibrary(dll_); }

  HMODULE dll_ = LoadLibraryA("zttsp.dll");
};

// Each name that one side has and the other lacks, readable.
std::string onlyIn(const std::set<std::string>& these, const std::set<std::string>& those) {
  std::string text;
  for (const auto& name : these) {
    if (those.count(name) == 0) text += "  " + zttsp_test::demangle(name) + "  (" + name + ")\n";
  }
  return text;
}

TEST_F(ZttspDll, ExportsTheNamesOfTheListAndNothingElse) {
  std::istringstream list(zttsp_test::readText(ZTTSP_EXPECTED_EXPORTS));
  std::set<std::string> expected;
  for (std::string name; std::getline(list, name);) {
    if (!name.empty()) expected.insert(name);
  }
  const zttsp_test::ExportTable table = zttsp_test::exportTableOf(dll_);
  EXPECT_EQ(table.names.size(), table.functions) << "some exports have no name";
  const std::set<std::string> exported(table.names.begin(), table.names.end());
  EXPECT_EQ("", onlyIn(expected, exported)) << "listed but not exported";
  EXPECT_EQ("", onlyIn(exported, expected))
      << "exported but not listed (if meant: cmake --build --preset windows --target "
         "expected_exports)";
}

// Windows' own DLLs and the outside libraries only: the GCC runtime is linked in, so that the
// DLL runs where nothing else is installed.
TEST_F(ZttspDll, ImportsOnlyWindowsAndTheOutsideLibraries) {
  const std::set<std::string> allowed = {"kernel32.dll", "crypt32.dll", "advapi32.dll",
                                         "msvcrt.dll",   "ztlib.dll",   "ztasn1.dll"};
  for (std::string module : zttsp_test::importedModulesOf(dll_))
    EXPECT_EQ(1u, allowed.count(CharLowerA(&module[0]))) << module;
}

}  // namespace
