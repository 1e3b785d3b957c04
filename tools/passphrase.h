// Passwords and PINs, given as openssl gives them: pass:TEXT, env:NAME, file:PATH, fd:N or stdin.
#pragma once

#include <string>

#include "tools/command_line.h"

namespace Zanthorel {
namespace Tools {

// The secret that option `name` points to: the text of pass:, the variable of env:, the first
// line of file:, fd: or stdin. A form it does not know is refused through the option; a source
// that cannot be read throws ToolError. A descriptor is read once: asked again (on a reload), it
// gives what it gave the first time.
std::string readPassphrase(const CommandLine& options, const std::string& name);

// The first line of a file, without its line end: how a password or PIN file is read.
std::string firstLineOfFile(const std::string& path);

}  // namespace Tools
}  // namespace Zanthorel
