// What `zttsp serve` runs with: its command line over its -config file. Read at start, before
// anything is written, and again on SIGHUP; later options extend it here.
#pragma once

#include <memory>
#include <optional>
#include <string>

#include "tools/authority.h"
#include "tools/commands.h"
#include "tools/signer_identity.h"

namespace Zanthorel {
namespace Tools {

struct ServeConfig {
  std::string address = "127.0.0.1";  // -bind: IPv4 or IPv6
  unsigned port = 3161;               // -port; 0 picks a free one
  std::string dataDir = "zttsp-data";
  std::optional<IdentitySettings> identity;  // none: the development identity of dataDir
  AuthoritySettings authority;
};

// Throws UsageError for the command line and ToolError for the file, naming the value that does
// not read. Reads the files it names (a password file, say) but writes nothing.
ServeConfig readServeConfig(const Arguments& arguments);

// The authority the configuration describes, its identity checked; the development identity is
// made when the configuration calls for it and the data folder has none. Logs who signs, and the
// warning of a certificate that runs out soon. Throws ToolError when the identity will not do.
std::shared_ptr<const TimeStampAuthority> authorityFor(const ServeConfig& config);

}  // namespace Tools
}  // namespace Zanthorel
