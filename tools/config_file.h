// The configuration file of `zttsp serve` and `zttsp reply`: TOML, one key per option, named as the
// option without its dash.
//
//   port = 3161
//   signer = "/etc/zttsp/tsa.pem"
//   inkey = "pkcs11:token=tsa;object=tsa-2026?pin-source=/etc/zttsp/pin"
//   policies = ["1.3.6.1.4.1.99999.2", "1.3.6.1.4.1.99999.3"]
//   ordering = true
//
// A boolean sets a flag (false leaves it out); a string, a whole number or a list of them is a
// value (a list as its items joined by commas, the command line's form).
#pragma once

#include <string>
#include <vector>

#include "tools/command_line.h"

namespace Zanthorel {
namespace Tools {

// The settings of the file at `path`. Throws ToolError naming the file, and the line and key
// where there is one, when the file cannot be read or is no TOML, for a key that is none of
// `known`, and for a value of a type that its option cannot take.
std::vector<ConfigSetting> readConfigFile(const std::string& path,
                                          const std::vector<OptionDefinition>& known);

}  // namespace Tools
}  // namespace Zanthorel
