// Private keys that stay in a PKCS #11 module (a hardware security module, a smart card, SoftHSM),
// named by an RFC 7512 URI and reached through libp11. The key comes out as an EVP_PKEY whose
// signatures the module makes; the private key itself never leaves the module.
#pragma once

#include <optional>
#include <string>

#include "tools/signing_key.h"

namespace Zanthorel {
namespace Tools {

// The private key `uri` names. A module is loaded once per process and shared by every key found
// in it, so that a reload finds its keys in the same login. The module is the URI's module-path or
// `modulePath` (the -pkcs11_module option); the PIN the URI's pin-value or pin-source, else `pin`
// (-passin). Throws ToolError naming the fault: the module that does not load, the token or key
// that is not there or not the only one to match, the PIN that is missing or wrong.
SigningKey loadModuleKey(const std::string& uri, const std::optional<std::string>& pin,
                         const std::string& modulePath);

}  // namespace Tools
}  // namespace Zanthorel
