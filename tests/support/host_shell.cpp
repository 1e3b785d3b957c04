// run(): a POSIX shell command on the host, from either build.
#include <chrono>
#include <cstdio>
#include <string>

#include "tests/support/test_support.h"

#ifdef _WIN32
#include <windows.h>
#else
#include <sys/wait.h>
#endif

namespace zttsp_test {

#ifdef _WIN32

namespace {

// Long enough for any openssl run of the tests; a hung command must not hang the test program.
constexpr auto kCommandTimeout = std::chrono::minutes(2);

bool underWine() {
  return GetProcAddress(GetModuleHandleA("ntdll.dll"), "wine_get_version") != nullptr;
}

bool fileExists(const std::string& path) {
  return GetFileAttributesA(path.c_str()) != INVALID_FILE_ATTRIBUTES;
}

}  // namespace

// Wine starts a Unix program named in CreateProcess, but gives no handle for it, so neither its
// exit status nor the end of its output can be waited for. The command therefore writes both to
// files, the status last and under its final name only when complete, and this side waits for
// that file.
CommandResult run(const std::string& command) {
  if (!underWine()) return {-1, "run() needs Wine to start host commands: " + command};
  const TempDir dir;
  const std::string status = dir.path("status");
  writeText(dir.path("command.sh"), command + "\n");
  writeText(dir.path("run.sh"), "sh '" + dir.path("command.sh") + "' >'" + dir.path("output") +
                                    "' 2>&1 </dev/null\necho $? >'" + status + ".part'\nmv '" +
                                    status + ".part' '" + status + "'\n");

  std::string commandLine = "/bin/sh " + dir.path("run.sh");
  STARTUPINFOA startup{};
  startup.cb = sizeof startup;
  PROCESS_INFORMATION process{};
  if (!CreateProcessA(nullptr, &commandLine[0], nullptr, nullptr, FALSE, 0, nullptr, nullptr,
                      &startup, &process))
    return {-1, "cannot start /bin/sh, error " + std::to_string(GetLastError())};
  // For a Unix program Wine leaves hProcess null and hThread holding junk: closing that closed
  // whatever handle had its value, stdout among them, and the test's output was lost.
  if (process.hProcess != nullptr) {
    CloseHandle(process.hProcess);
    CloseHandle(process.hThread);
  }

  const auto deadline = std::chrono::steady_clock::now() + kCommandTimeout;
  while (!fileExists(status)) {
    if (std::chrono::steady_clock::now() > deadline)
      return {-1, "no end of the command in time: " + command};
    Sleep(2);
  }
  return {std::stoi(readText(status)), readText(dir.path("output"))};
}

#else

CommandResult run(const std::string& command) {
  CommandResult result{-1, ""};
  // Braces, so that stderr of every part of a compound command is caught, as on Windows.
  FILE* pipe = popen(("{ " + command + "\n} 2>&1").c_str(), "r");
  if (pipe == nullptr) return result;
  char buffer[4096];
  std::size_t n;
  while ((n = fread(buffer, 1, sizeof buffer, pipe)) > 0)
    result.output.append(buffer, n);
  const int status = pclose(pipe);
  result.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  return result;
}

#endif

}  // namespace zttsp_test
