// Helpers shared by the test programs: vectors, files, hex, running openssl, HRESULT checks.
#pragma once

#include <gtest/gtest.h>

#include <string>

#include "outside/ztlib/blob.h"
#include "sdk/atl_exception.h"

namespace zttsp_test {

// Path of a third-party vector in tests/data/vectors.
std::string vectorPath(const std::string& name);
// Path of a file in tests/data.
std::string dataPath(const std::string& name);

Zanthorel::CBlob readFile(const std::string& path);
void writeFile(const std::string& path, const Zanthorel::CBlob& bytes);
void writeText(const std::string& path, const std::string& text);
std::string readText(const std::string& path);

// Hex digits (spaces, newlines and colons ignored) to bytes, and bytes to upper-case hex.
Zanthorel::CBlob fromHex(const std::string& hex);
std::string toHex(const Zanthorel::CBlob& bytes);
Zanthorel::CBlob blobOf(const std::string& bytes);

struct CommandResult {
  int status;          // -1 when the command could not be run or did not end in time
  std::string output;  // stdout and stderr together
};
// Runs a POSIX shell command on the host and returns its exit status and output. The Windows
// build, under Wine, runs it as a Unix process all the same: openssl and the other host tools
// serve both builds. Paths from vectorPath, dataPath and TempDir are absolute Unix paths, which
// both the command and the test program (through Wine's drive Z:) understand.
CommandResult run(const std::string& command);
// `command` run in `directory`; fails the test unless it exits 0. Its output.
std::string runIn(const std::string& directory, const std::string& command);

// A fresh directory under /tmp, removed with everything in it when the object goes.
class TempDir {
 public:
  TempDir();
  ~TempDir();
  TempDir(const TempDir&) = delete;
  TempDir& operator=(const TempDir&) = delete;
  std::string path(const std::string& name = "") const;

 private:
  std::string dir_;
};

// The HRESULT that `f` throws as CAtlException, or S_OK when it throws nothing.
template <class F>
HRESULT hresultOf(F&& f) {
  try {
    f();
  } catch (const ATL::CAtlException& e) {
    return e.m_hr;
  }
  return S_OK;
}

// "0x80093101" and friends, for readable failure messages.
std::string hresultText(HRESULT hr);

}  // namespace zttsp_test

#define EXPECT_HRESULT(expected, statement)    \
  EXPECT_EQ(zttsp_test::hresultText(expected), \
            zttsp_test::hresultText(zttsp_test::hresultOf([&] { statement; })))
