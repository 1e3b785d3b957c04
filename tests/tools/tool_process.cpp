#include "tests/tools/tool_process.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <regex>
#include <sstream>
#include <stdexcept>
#include <thread>
#include <vector>

namespace tool_test {
namespace {

using Clock = std::chrono::steady_clock;

// Generous for the sanitizer build, which also makes the development identity once.
constexpr auto kStartTimeout = std::chrono::seconds(60);
constexpr auto kStopTimeout = std::chrono::seconds(20);

}  // namespace

zttsp_test::CommandResult zttsp(const std::string& arguments, const std::string& directory) {
  return zttsp_test::run("cd '" + directory + "' && '" ZTTSP_TOOL "' " + arguments);
}

bool contains(const std::string& text, const std::string& what) {
  return text.find(what) != std::string::npos;
}

Server::Server(const std::string& dataDir, const std::string& arguments) : dataDir_(dataDir) {
  std::vector<std::string> words = {ZTTSP_TOOL, "serve", "-port", "0", "-data", dataDir};
  std::istringstream extra(arguments);
  for (std::string word; extra >> word;)
    words.push_back(word);
  const std::string logPath = logDir_.path("serve.log");
  // There before the child starts, for log() to read at once.
  zttsp_test::writeText(logPath, "");

  pid_ = fork();
  if (pid_ < 0) throw std::runtime_error("fork failed");
  if (pid_ == 0) {
    // A test program that dies (a failed assertion in a sanitizer build) takes its server along.
    prctl(PR_SET_PDEATHSIG, SIGTERM);
    const int log = ::open(logPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    const int nothing = ::open("/dev/null", O_RDWR);
    if (log < 0 || nothing < 0 || dup2(log, STDERR_FILENO) < 0 ||
        dup2(nothing, STDOUT_FILENO) < 0 || dup2(nothing, STDIN_FILENO) < 0)
      _exit(127);
    std::vector<char*> argv;
    for (std::string& word : words)
      argv.push_back(&word[0]);
    argv.push_back(nullptr);
    execv(argv[0], argv.data());
    _exit(127);
  }

  const std::regex ready("serving on (http://[^ ]+/)");
  const auto deadline = Clock::now() + kStartTimeout;
  for (;;) {
    const std::string text = log();
    std::smatch found;
    if (std::regex_search(text, found, ready)) {
      url_ = found[1].str();
      return;
    }
    int status = 0;
    if (waitpid(pid_, &status, WNOHANG) == pid_) {
      pid_ = -1;
      throw std::runtime_error("zttsp serve ended at once:\n" + text);
    }
    if (Clock::now() > deadline) {
      stop(SIGKILL);
      throw std::runtime_error("zttsp serve did not get ready:\n" + text);
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
  }
}

Server::~Server() {
  if (pid_ > 0) stop(SIGTERM);
}

void Server::signal(int signal) const {
  if (pid_ > 0) kill(pid_, signal);
}

bool Server::logs(const std::string& text, std::size_t count) const {
  const auto deadline = Clock::now() + kStartTimeout;
  for (;;) {
    if (occurrences(log(), text) >= count) return true;
    if (Clock::now() > deadline) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
  }
}

std::string Server::log() const {
  return zttsp_test::readText(logDir_.path("serve.log"));
}

int Server::stop(int signal) {
  if (pid_ <= 0) return -1;
  kill(pid_, signal);
  const auto deadline = Clock::now() + kStopTimeout;
  int status = 0;
  while (waitpid(pid_, &status, WNOHANG) == 0) {
    if (Clock::now() > deadline) {
      kill(pid_, SIGKILL);
      waitpid(pid_, &status, 0);
      pid_ = -1;
      return -1;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  pid_ = -1;
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

std::size_t occurrences(const std::string& text, const std::string& what) {
  std::size_t n = 0;
  for (std::size_t at = text.find(what); at != std::string::npos; at = text.find(what, at + 1))
    ++n;
  return n;
}

std::string curlPost(const Server& server, const std::string& type, const std::string& file,
                     const std::string& out, const std::string& extra) {
  return zttsp_test::run("curl -g -s -S --max-time 20 -H 'Content-Type: " + type +
                         "' --data-binary '@" + file + "' -o '" + out +
                         "' -w '%{http_code} %{content_type}' " + extra + " " + server.url())
      .output;
}

}  // namespace tool_test
