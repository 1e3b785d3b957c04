#include "tools/log.h"

#include <unistd.h>

namespace Zanthorel {
namespace Tools {

void logLine(const std::string& text) {
  const std::string line = "zttsp: " + text + "\n";
  (void)!::write(STDERR_FILENO, line.data(), line.size());
}

}  // namespace Tools
}  // namespace Zanthorel
