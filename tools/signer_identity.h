// The authority's signing identity: its key in a provider, its certificate and the chain above it.
#pragma once

#include <string>
#include <vector>

#include "outside/ztlib/blob.h"
#include "outside/ztlib/dll_list.h"
#include "sdk/win32.h"
#include "tools/certificate.h"

namespace Zanthorel {
namespace Tools {

class SignerIdentity {
 public:
  // The first certificate of `certificatePath` (PEM or DER), the private key of `keyPath` (PEM or
  // DER, not encrypted) and the certificates of `chainPath` when it is not empty. Throws ToolError
  // when a file is unreadable or the key does not belong to the certificate.
  static SignerIdentity load(const std::string& certificatePath, const std::string& keyPath,
                             const std::string& chainPath);

  SignerIdentity(SignerIdentity&& other) noexcept;
  SignerIdentity(const SignerIdentity&) = delete;
  SignerIdentity& operator=(const SignerIdentity&) = delete;
  SignerIdentity& operator=(SignerIdentity&&) = delete;
  ~SignerIdentity();

  HCRYPTPROV provider() const noexcept { return provider_; }
  const Certificate& certificate() const noexcept { return certificate_; }
  // The signer's certificate followed by the chain: what a token carries when asked.
  const CBlobList& certificates() const noexcept { return certificates_; }

 private:
  SignerIdentity(HCRYPTPROV provider, Certificate certificate, CBlobList certificates);

  HCRYPTPROV provider_;
  Certificate certificate_;
  CBlobList certificates_;
};

}  // namespace Tools
}  // namespace Zanthorel
