// The authority's signing identity: its key in a provider, its certificate and the chain above it,
// checked to be fit for time stamping before anything is signed.
#pragma once

#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "outside/ztlib/blob.h"
#include "outside/ztlib/dll_list.h"
#include "sdk/win32.h"
#include "tools/certificate.h"
#include "tools/signing_key.h"

namespace Zanthorel {
namespace Tools {

struct IdentitySettings {
  std::string certificate;  // -signer
  KeySource key;            // -inkey, -passin, -pkcs11_module
  std::string chain;        // -chain; empty when there is none
  // -pkcs11_serialize: one signature at a time, for modules that cannot sign on several sessions
  // at once. Otherwise every thread signs at once, a PKCS #11 key on a session of its own.
  bool serialSigning = false;
  unsigned expiryWarningDays = 30;  // -expiry_warning
};

class SignerIdentity {
 public:
  // The first certificate of `settings.certificate` (PEM or DER), its private key and the
  // certificates of the chain. Throws ToolError when a file is unreadable, when the certificate
  // cannot sign time stamps (tools/signer_checks.h), when the key does not belong to it or cannot
  // sign here, and when the chain is not the signer's issuing chain.
  static SignerIdentity load(const IdentitySettings& settings);

  SignerIdentity(SignerIdentity&& other) noexcept;
  SignerIdentity(const SignerIdentity&) = delete;
  SignerIdentity& operator=(const SignerIdentity&) = delete;
  SignerIdentity& operator=(SignerIdentity&&) = delete;
  ~SignerIdentity();

  HCRYPTPROV provider() const noexcept { return provider_; }
  const Certificate& certificate() const noexcept { return certificate_; }
  // The signer's certificate followed by the chain: what a token carries when asked.
  const CBlobList& certificates() const noexcept { return certificates_; }
  // Held around each signature: locked with -pkcs11_serialize, free otherwise.
  std::unique_lock<std::mutex> signingTurn() const;
  // One line for the log: who signs, until when, with which key.
  std::string description() const;
  // The warning that the certificate runs out soon, if it does.
  const std::optional<std::string>& warning() const noexcept { return warning_; }

 private:
  SignerIdentity(HCRYPTPROV provider, std::shared_ptr<const void> module, Certificate certificate,
                 CBlobList certificates);

  HCRYPTPROV provider_;
  std::shared_ptr<const void> module_;  // released after the provider
  Certificate certificate_;
  CBlobList certificates_;
  std::string keyDescription_;
  std::optional<std::string> warning_;
  std::unique_ptr<std::mutex> serial_;  // null when signatures run at once
};

}  // namespace Tools
}  // namespace Zanthorel
