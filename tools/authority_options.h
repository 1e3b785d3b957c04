// The options of the authority's two commands, `zttsp reply` and `zttsp serve`: on the command
// line or in a TOML file given with -config (tools/config_file.h), the command line winning.
//
//   what tokens say  -policy OID, -policies OID,..., -digests NAME,..., -accuracy S,MS,US,
//                    -ordering, -tsa_name, -ess v1|v2|both
//   who signs        -signer CERT -inkey KEY|URI [-chain PEM] [-passin SOURCE]
//                    [-pkcs11_module PATH] [-pkcs11_serialize] [-expiry_warning DAYS]
#pragma once

#include <vector>

#include "tools/authority.h"
#include "tools/command_line.h"
#include "tools/commands.h"
#include "tools/signer_identity.h"

namespace Zanthorel {
namespace Tools {

const std::vector<OptionDefinition>& replyOptions();
const std::vector<OptionDefinition>& serveOptions();

// The command's arguments read with `options`, and beneath them the settings of the -config file
// when there is one. A file may hold the options of both commands; each takes its own.
CommandLine authorityCommandLine(const Arguments& arguments,
                                 const std::vector<OptionDefinition>& options);

// Refuses values that do not read through CommandLine::refuse.
AuthoritySettings authoritySettings(const CommandLine& options);
// The identity the options give; -signer and -inkey come together.
IdentitySettings identitySettings(const CommandLine& options);

}  // namespace Tools
}  // namespace Zanthorel
