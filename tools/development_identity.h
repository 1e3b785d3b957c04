// A development CA and time-stamping identity, made once in a data folder and reused after, so
// that a server runs without any PKI of its own. Not for production: the CA key is thrown away
// once the TSA certificate is issued, and anyone with the folder holds the TSA key.
#pragma once

#include <string>

namespace Zanthorel {
namespace Tools {

struct DevelopmentIdentity {
  std::string caCertificate;  // DIR/ca.pem, for clients to trust
  std::string certificate;    // DIR/tsa.pem
  std::string key;            // DIR/tsa.key
  bool made = false;          // true when this call made them
};

// The identity in `dir`, made (with the folder) when the TSA certificate or key is missing.
// Throws ToolError when the folder or a file cannot be written.
DevelopmentIdentity developmentIdentity(const std::string& dir);

}  // namespace Tools
}  // namespace Zanthorel
