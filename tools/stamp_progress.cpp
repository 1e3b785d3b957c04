#include "tools/stamp_progress.h"

#include <unistd.h>

#include <cstdio>

namespace Zanthorel {
namespace Tools {
namespace {

// Fewer files are done before a bar would say anything.
constexpr std::size_t kFilesForABar = 10;
constexpr std::size_t kBarWidth = 30;
// Back to the start of the line and clear it: the bar is redrawn in place.
const char kClearLine[] = "\r\033[K";

}  // namespace

StampProgress::StampProgress(std::size_t files)
    : files_(files), bar_(files >= kFilesForABar && isatty(STDERR_FILENO) == 1) {
  if (bar_) drawBar();
}

void StampProgress::stamped(const std::string& line, bool failedOver) {
  const std::lock_guard<std::mutex> lock(mutex_);
  ++stamped_;
  if (failedOver) ++failedOver_;
  done(stdout, line);
}

void StampProgress::failed(const std::string& line) {
  const std::lock_guard<std::mutex> lock(mutex_);
  ++failed_;
  done(stderr, line);
}

void StampProgress::done(std::FILE* stream, const std::string& line) {
  if (bar_) std::fputs(kClearLine, stderr);
  std::fprintf(stream, "%s\n", line.c_str());
  std::fflush(stream);
  if (bar_) drawBar();
}

void StampProgress::drawBar() const {
  const std::size_t finished = stamped_ + failed_;
  const std::size_t filled = files_ == 0 ? kBarWidth : finished * kBarWidth / files_;
  std::fprintf(stderr, "%s[%s%s] %zu/%zu files", kClearLine, std::string(filled, '#').c_str(),
               std::string(kBarWidth - filled, '.').c_str(), finished, files_);
  if (failed_ != 0) std::fprintf(stderr, ", %zu not stamped", failed_);
  std::fflush(stderr);
}

bool StampProgress::finish() {
  const std::lock_guard<std::mutex> lock(mutex_);
  if (bar_) std::fputs(kClearLine, stderr);
  const double seconds =
      std::chrono::duration<double>(std::chrono::steady_clock::now() - start_).count();
  std::fprintf(stderr, "zttsp stamp: %zu of %zu files stamped in %.1f s", stamped_, files_,
               seconds);
  if (failedOver_ != 0) std::fprintf(stderr, ", %zu of them by a fallback authority", failedOver_);
  if (failed_ != 0) std::fprintf(stderr, "; %zu not stamped", failed_);
  std::fprintf(stderr, "\n");
  return failed_ == 0;
}

}  // namespace Tools
}  // namespace Zanthorel
