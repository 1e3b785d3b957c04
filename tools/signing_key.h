// The authority's private key: from a key file, or in a PKCS #11 module.
#pragma once

#include <memory>
#include <optional>
#include <string>

#include "tools/openssl_types.h"

namespace Zanthorel {
namespace Tools {

struct SigningKey {
  EvpPkeyPtr key;
  // For a key in a PKCS #11 module: the loaded module, which the key needs for as long as it
  // signs. Null for a key read from a file.
  std::shared_ptr<const void> module;
  std::string description;  // the file, or the URI (without its PIN) and the module
};

struct KeySource {
  std::string key;                        // -inkey: a file, or a pkcs11: URI
  std::optional<std::string> passphrase;  // -passin: the file's password, or the token's PIN
  std::string pkcs11Module;               // -pkcs11_module
};

// The key a file holds (PEM or DER; PKCS #8 or the older per-algorithm forms; encrypted or not),
// or the one a PKCS #11 URI names (tools/pkcs11_key.h). Throws ToolError naming the fault: an
// encrypted key without a password, a wrong password, a certificate given for the key.
SigningKey loadSigningKey(const KeySource& source);

}  // namespace Tools
}  // namespace Zanthorel
