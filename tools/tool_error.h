// The two ways a command ends in failure: a clear message, or a command line that cannot be run.
#pragma once

#include <stdexcept>

namespace Zanthorel {
namespace Tools {

// Reported as "zttsp: <what>", exit status 1.
struct ToolError : std::runtime_error {
  using std::runtime_error::runtime_error;
};

// Reported with the command's usage, exit status 2.
struct UsageError : std::runtime_error {
  using std::runtime_error::runtime_error;
};

}  // namespace Tools
}  // namespace Zanthorel
