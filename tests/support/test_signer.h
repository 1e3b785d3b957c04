// TestSigner: an RSA signing key in a provider of its own, with a certificate for it, for the
// tests that sign. The same calls serve both builds: the Windows build makes the key with
// CryptGenKey or CryptImportKey and the certificate with CRYPT32 (Wine's, in the tests); the
// Linux build makes them with openssl and hands the key to ZtAcquireContextFromPrivateKey.
//
//   const auto signer = zttsp_test::TestSigner::generateRsa();
//   token.sign(signer.provider(), signer.keySpec(), signer.certificate(), sha256);
#pragma once

#include <string>

#include "frame/win32.h"
#include "outside/ztlib/blob.h"

namespace zttsp_test {

class TestSigner {
 public:
  // A new RSA-2048 key and a self-signed X.509 v3 certificate for it: subject and issuer
  // CN=`commonName`, a positive serial number, valid now and for a year, extended key usage
  // timeStamping (critical), as RFC 3161 asks of an authority's certificate.
  static TestSigner generateRsa(const std::string& commonName = "zttsp test signer");
  // A provider holding `privateKey` (an RSA key as PKCS #8 DER, which
  // `openssl pkcs8 -topk8 -nocrypt -outform DER` writes) paired with `certificate` (DER), for
  // signing with keys made elsewhere.
  static TestSigner importRsa(const Zanthorel::CBlob& privateKey,
                              const Zanthorel::CBlob& certificate);

  TestSigner(TestSigner&& other) noexcept;
  TestSigner(const TestSigner&) = delete;
  TestSigner& operator=(const TestSigner&) = delete;
  TestSigner& operator=(TestSigner&&) = delete;
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
