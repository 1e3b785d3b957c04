// PKCS #11 URIs (RFC 7512), which name a key in a hardware module:
//
//   pkcs11:token=tsa;object=tsa-2026;type=private?pin-source=file:/etc/zttsp/pin&module-path=/usr/lib/softhsm/libsofthsm2.so
//
// The path attributes (before "?", separated by ";") say which token and object; the query
// attributes (after "?", separated by "&") how to reach them. Values are percent-decoded.
#pragma once

#include <map>
#include <string>

namespace Zanthorel {
namespace Tools {

struct Pkcs11Uri {
  std::map<std::string, std::string> path;   // token, object, id, serial, slot-id, ...
  std::map<std::string, std::string> query;  // pin-value, pin-source, module-path

  // The value of an attribute of either part, or null.
  const std::string* find(const std::string& name) const;
};

// Whether `text` is meant as a PKCS #11 URI: it starts with the scheme "pkcs11:".
bool isPkcs11Uri(const std::string& text);

// Throws ToolError naming the fault for a URI that breaks RFC 7512, has an attribute twice or one
// that is not known here (vendor attributes, "x-...", are left out), or names another object type
// than a private key.
Pkcs11Uri parsePkcs11Uri(const std::string& text);

// The URI without its PIN, for messages and logs.
std::string withoutPin(const std::string& text);

}  // namespace Tools
}  // namespace Zanthorel
