#include "tools/passphrase.h"

#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <map>
#include <mutex>

#include "tools/files.h"
#include "tools/tool_error.h"

namespace Zanthorel {
namespace Tools {
namespace {

std::string firstLine(const std::string& text) {
  return text.substr(0, text.find_first_of("\r\n"));
}

// Up to the first line end, a byte at a time so that nothing after it is taken from a shared
// descriptor.
std::string firstLineOfDescriptor(int fd, const std::string& what) {
  std::string line;
  char c = 0;
  for (;;) {
    const ssize_t n = ::read(fd, &c, 1);
    if (n < 0 && errno == EINTR) continue;
    if (n < 0)
      throw ToolError("cannot read the password from " + what + ": " + std::strerror(errno));
    if (n == 0 || c == '\n') break;
    if (line.size() >= 4096) throw ToolError("the password from " + what + " is too long");
    line.push_back(c);
  }
  return firstLine(line);
}

std::string fromDescriptor(int fd, const std::string& what) {
  static std::mutex mutex;
  static std::map<int, std::string> read;
  const std::lock_guard<std::mutex> lock(mutex);
  const auto found = read.find(fd);
  if (found != read.end()) return found->second;
  return read[fd] = firstLineOfDescriptor(fd, what);
}

bool startsWith(const std::string& text, const char* prefix) {
  return text.compare(0, std::strlen(prefix), prefix) == 0;
}

}  // namespace

std::string firstLineOfFile(const std::string& path) {
  const CBlob bytes = readFile(path);
  return firstLine(std::string(reinterpret_cast<const char*>(bytes.pbData()), bytes.cbData()));
}

std::string readPassphrase(const CommandLine& options, const std::string& name) {
  const std::string source = options.value(name);
  const std::size_t colon = source.find(':');
  const std::string rest = colon == std::string::npos ? "" : source.substr(colon + 1);
  if (startsWith(source, "pass:")) return rest;
  if (startsWith(source, "env:")) {
    const char* value = std::getenv(rest.c_str());
    if (value == nullptr)
      throw ToolError(options.origin(name) + ": the environment has no variable " + rest);
    return value;
  }
  if (startsWith(source, "file:")) return firstLineOfFile(rest);
  if (source == "stdin") return fromDescriptor(STDIN_FILENO, "standard input");
  if (startsWith(source, "fd:")) {
    char* end = nullptr;
    const long fd = std::strtol(rest.c_str(), &end, 10);
    if (!rest.empty() && *end == '\0' && fd >= 0 && fd <= 65535)
      return fromDescriptor(static_cast<int>(fd), "descriptor " + rest);
  }
  // Never the text itself: it may be a password given without its pass:.
  options.refuse(name,
                 "takes pass:TEXT, env:VARIABLE, file:PATH, fd:NUMBER or stdin" +
                     (colon == std::string::npos ? std::string(" (a password goes after pass:)")
                                                 : ", not " + source.substr(0, colon) + ":..."));
}

}  // namespace Tools
}  // namespace Zanthorel
