// The certificates a time-stamp authority's chain must end in: those of -CAfile and -CApath, or,
// when neither is given, the system's store (OpenSSL's default paths, which SSL_CERT_FILE and
// SSL_CERT_DIR override). Built once and shared: copies share one OpenSSL store, which OpenSSL
// lets many threads verify against at once.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include <openssl/x509_vfy.h>

#include "outside/ztlib/blob.h"

namespace Zanthorel {
namespace Tools {

class CommandLine;

class TrustStore {
 public:
  // The certificates of `files` (PEM or DER) and the hashed folders `folders` (as openssl rehash
  // makes them); both empty: the system's store. Throws ToolError naming a file or folder that
  // cannot be read.
  TrustStore(const std::vector<std::string>& files, const std::vector<std::string>& folders);
  // The store that -CAfile and -CApath of a command line name.
  static TrustStore fromOptions(const CommandLine& options);

  X509_STORE* store() const noexcept { return store_.get(); }
  // The certificates of the files, in which a token's signer is looked for too.
  const std::vector<CBlob>& certificates() const noexcept { return *certificates_; }

 private:
  std::shared_ptr<X509_STORE> store_;
  std::shared_ptr<const std::vector<CBlob>> certificates_;
};

}  // namespace Tools
}  // namespace Zanthorel
