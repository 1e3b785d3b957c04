// What `zttsp stamp` shows while it works: a line per file as the file is done (stamped ones on
// standard output, the others on standard error), a summary line at the end, and, when standard
// error is a terminal and there are many files, a progress bar kept below the lines.
#pragma once

#include <chrono>
#include <cstddef>
#include <mutex>
#include <string>

namespace Zanthorel {
namespace Tools {

class StampProgress {
 public:
  explicit StampProgress(std::size_t files);
  StampProgress(const StampProgress&) = delete;
  StampProgress& operator=(const StampProgress&) = delete;

  // Called from any thread.
  void stamped(const std::string& line, bool failedOver);
  void failed(const std::string& line);
  // Takes the bar away and prints "N of M files stamped in S s; ...". Returns whether every file
  // was stamped.
  bool finish();

 private:
  void done(std::FILE* stream, const std::string& line);
  void drawBar() const;

  const std::size_t files_;
  const bool bar_;
  const std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
  std::mutex mutex_;
  std::size_t stamped_ = 0, failed_ = 0, failedOver_ = 0;
};

}  // namespace Tools
}  // namespace Zanthorel
