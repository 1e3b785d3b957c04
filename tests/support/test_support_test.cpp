// The test support's host commands, also from Wine. (TestSigner is checked wherever openssl
// verifies what the library signed.)
#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

#include "tests/support/test_support.h"

namespace {

using zttsp_test::readText;
using zttsp_test::run;
using zttsp_test::TempDir;

TEST(HostShell, RunsCommandsAndSharesFilesWithThem) {
  const auto result = run("echo out; echo err >&2; exit 3");
  EXPECT_EQ(3, result.status);
  EXPECT_EQ("out\nerr\n", result.output);

  const TempDir dir;
  zttsp_test::writeText(dir.path("from-test"), "crossed");
  EXPECT_EQ(0, run("cat '" + dir.path("from-test") + "' >'" + dir.path("from-shell") + "'").status);
  EXPECT_EQ("crossed", readText(dir.path("from-shell")));
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
