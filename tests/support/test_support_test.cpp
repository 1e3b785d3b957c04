// The test support itself: the table of vectors, and host commands from Wine. (TestSigner is
// checked wherever openssl verifies what the library signed, run() by every test that runs one.)
#include <gtest/gtest.h>

#include <cstdint>
#include <filesystem>
#include <set>
#include <string>
#include <vector>

#include "tests/support/test_support.h"
#include "tests/support/vectors.h"

namespace {

using zttsp_test::run;

// Every file of the vectors' folder has its row in the table, and every row its file.
TEST(Vectors, TheTableListsEveryFileOfTheFolder) {
  std::set<std::string> files, rows;
  for (const auto& file : std::filesystem::directory_iterator(zttsp_test::dataPath("vectors"))) {
    if (file.path().extension() != ".md") files.insert(file.path().filename().string());
  }
  for (const zttsp_test::Vector& v : zttsp_test::vectors())
    rows.insert(v.file);
  EXPECT_EQ(files, rows);
}

#ifdef _WIN32
// Wine fills in no process information for a Unix program, and run() must close nothing that
// it did not open. Every handle the program holds is marked; a handle closed and its value given
// to a new one would lose the mark.
TEST(HostShell, LeavesTheProgramsOwnHandlesOpen) {
  std::vector<HANDLE> marked;
  for (std::uintptr_t value = 4; value < 0x4000; value += 4) {
    const auto handle = reinterpret_cast<HANDLE>(value);
    DWORD flags;
    if (GetHandleInformation(handle, &flags) && !(flags & HANDLE_FLAG_INHERIT) &&
        SetHandleInformation(handle, HANDLE_FLAG_INHERIT, HANDLE_FLAG_INHERIT))
      marked.push_back(handle);
  }
  ASSERT_FALSE(marked.empty());
  for (int i = 0; i < 8; ++i)
    run("true");
  for (HANDLE handle : marked) {
    DWORD flags = 0;
    EXPECT_TRUE(GetHandleInformation(handle, &flags) && (flags & HANDLE_FLAG_INHERIT)) << handle;
    SetHandleInformation(handle, HANDLE_FLAG_INHERIT, 0);
  }
}
#endif

}  // namespace
