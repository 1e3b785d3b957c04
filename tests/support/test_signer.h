// TestSigner: an RSA signing key in a provider of its own, with its certificate, for the tests
// that sign. The Windows build imports the key with CryptImportKey (Wine's, in the tests); the
// Linux build hands it to ZtAcquireContextFromPrivateKey.
//
//   const auto signer = zttsp_test::TestSigner::importRsa(pkcs8, certificate);
//   token.sign(signer.provider(), signer.keySpec(), signer.certificate(), sha256);
#pragma once

#include <string>

#include "outside/ztlib/blob.h"
#include "sdk/win32.h"

namespace zttsp_test {

class TestSigner {
 public:
  // A provider holding `privateKey` (an RSA key as PKCS #8 DER, which
  // `openssl pkcs8 -topk8 -nocrypt -outform DER` writes) paired with `certificate` (DER), for
  // signing with keys that openssl made.
  static TestSigner importRsa(const Zanthorel::CBlob& privateKey,
                              const Zanthorel::CBlob& certificate);
  // Linux build only: any PKCS #8 key that the platform layer takes, RSA or P-256.
  static TestSigner importKey(const Zanthorel::CBlob& privateKey,
                              const Zanthorel::CBlob& certificate);

  TestSigner(const TestSigner&) = delete;
  TestSigner& operator=(const TestSigner&) = delete;
  // Releases the provider's reference; what the signing calls added is theirs to release.
  ~TestSigner();

  HCRYPTPROV provider() const { return provider_; }
  DWORD keySpec() const { return AT_SIGNATURE; }
  const Zanthorel::CBlob& certificate() const { return certificate_; }

 private:
  TestSigner(HCRYPTPROV provider, Zanthorel::CBlob certificate);

  HCRYPTPROV provider_;
  Zanthorel::CBlob certificate_;
};

}  // namespace zttsp_test
