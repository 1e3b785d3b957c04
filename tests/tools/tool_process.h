// The built zttsp program for the tool tests: run as a command, or started as a server.
#pragma once

#include <sys/types.h>

#include <string>

#include "tests/support/test_support.h"

namespace tool_test {

// `zttsp ARGUMENTS`, run by the shell in `directory`.
zttsp_test::CommandResult zttsp(const std::string& arguments, const std::string& directory = ".");

bool contains(const std::string& text, const std::string& what);

// A test with a folder of its own, where its commands run.
class InFolder : public testing::Test {
 protected:
  // A shell command in the folder, which must succeed; its output.
  std::string sh(const std::string& command) const {
    return zttsp_test::runIn(dir_.path(), command);
  }
  zttsp_test::CommandResult tool(const std::string& arguments) const {
    return zttsp(arguments, dir_.path());
  }

  zttsp_test::TempDir dir_;
};

// `zttsp serve -port 0 ARGUMENTS` with a development identity in `dataDir`, started and waited
// for until it says where it serves.
class Server {
 public:
  Server(const std::string& dataDir, const std::string& arguments = "");
  Server(const Server&) = delete;
  Server& operator=(const Server&) = delete;
  // Stops the server if the test has not.
  ~Server();

  const std::string& url() const { return url_; }
  const std::string& dataDir() const { return dataDir_; }
  std::string caFile() const { return dataDir_ + "/ca.pem"; }
  // Everything the server wrote to stderr so far.
  std::string log() const;
  // Sends `signal` and returns the exit status, or -1 when the server did not end in time (it is
  // killed then) or was ended by a signal.
  int stop(int signal);
  // Sends `signal` and leaves the server running.
  void signal(int signal) const;
  // Whether the log says `text` `count` times within a bounded wait.
  bool logs(const std::string& text, std::size_t count = 1) const;

 private:
  zttsp_test::TempDir logDir_;
  std::string dataDir_;
  pid_t pid_ = -1;
  std::string url_;
};

// How many times `what` occurs in `text`.
std::size_t occurrences(const std::string& text, const std::string& what);

// `curl` posting FILE to the server as Content-Type TYPE, the answer into OUT, printing
// "<status> <content type>"; EXTRA goes before the URL.
std::string curlPost(const Server& server, const std::string& type, const std::string& file,
                     const std::string& out, const std::string& extra = "");

}  // namespace tool_test
