// The server's log: lines on standard error, each written at once so that the lines of parallel
// requests never mix.
#pragma once

#include <string>

namespace Zanthorel {
namespace Tools {

// Writes "zttsp: TEXT" and a line end.
void logLine(const std::string& text);

}  // namespace Tools
}  // namespace Zanthorel
