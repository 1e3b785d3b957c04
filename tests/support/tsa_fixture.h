// A small PKI, made once per test program with openssl: a CA, the time-stamping authorities it
// certifies (RSA-2048 and P-256, timeStamping critical) and an `openssl ts -reply` configuration.
#pragma once

#include <cstddef>
#include <string>

#include "outside/ztasn1/attributes.h"
#include "outside/ztlib/blob.h"
#include "rfc3161/token.h"
#include "sdk/win32.h"
#include "tests/support/test_signer.h"
#include "tests/support/test_support.h"

namespace tsa_test {

struct Authority {
  std::string name;      // "rsa" or "ec": key <name>.key, certificate <name>.pem in the folder
  Zanthorel::CBlob key;  // PKCS #8 DER
  Zanthorel::CBlob certificate;  // DER
};

struct Pki {
  std::string dir;  // also holds ca.pem and tsa.cnf
  Zanthorel::CBlob caCertificate;
  Authority rsa, ec;
  Authority other;  // RSA-2048 too, certified by the same CA
  // Policy and accuracy of tsa.cnf.
  static constexpr const char* kPolicy = "1.3.6.1.4.1.99999.7.1";
};
const Pki& pki();

// A shell command run in the PKI's folder; fails the test when it does not exit 0.
std::string shell(const std::string& command);

// One identifier for the whole run: Wine's CRYPT32 keeps pointing at the signer's hash algorithm
// text after signing (docs/wine-differences.md), so it must outlive every token signed with it.
const Zanthorel::ASN1::CAlgorithmIdentifierEx& sha256();
// SHA-256 of `bytes`, by openssl.
Zanthorel::CBlob sha256Of(const Zanthorel::CBlob& bytes);

// The ESS signingCertificateV2 attribute naming `certificate` by its SHA-256 hash, which
// `openssl ts -verify` asks of a token's signer.
Zanthorel::ASN1::CAttribute essSigningCertificateV2(const Zanthorel::CBlob& certificate);

// An unsigned token over the SHA-256 of `data`, with nonce, accuracy and the authority's name (its
// certificate's subject, which `openssl ts -verify` compares with the signer's), the
// ESS attribute for `authority` and its certificate in the certificate list.
Zanthorel::PKI::TSP::CToken tokenFor(const Authority& authority, const std::string& data);

// Where the parts of an encoded token sit, found with the codec.
struct Span {
  std::size_t offset = 0;  // into the token
  std::size_t length = 0;
};
struct TokenLayout {
  int version = 0;  // of the SignedData
  std::string contentType;
  Span content;  // the element under eContent [0], as received
  std::size_t signers = 0;
  Span signedAttributes;              // of signer 0: the whole [0] element
  Span signature;                     // of signer 0: the value octets
  Zanthorel::CBlobList certificates;  // the X.509 ones, in message order
};
// Throws std::runtime_error when `token` is no SignedData; a SignedData without signers gives
// only its content and certificates.
TokenLayout layoutOf(const Zanthorel::CBlob& token);

// The error that CertCreateCertificateContext leaves for `bytes`, which are no certificate.
HRESULT certificateError(const Zanthorel::CBlob& bytes);

// The TSTInfo element of an encoded token, taken out of its OCTET STRING when it is in one.
Zanthorel::CBlob tstInfoOf(const Zanthorel::CBlob& token);
// The fields of `token` signed again by the RSA authority: the TSTInfo of the result is what the
// library writes for them.
Zanthorel::CBlob signedAgain(const Zanthorel::PKI::TSP::CToken& token);

// A token made by `openssl ts -reply` for the `digest` of data.txt in the PKI's folder, signed by
// `authority` (with -cert: its certificate in the token; with a nonce unless `nonce` is false)
// with the settings of `config`: tsa.cnf, or bare.cnf, which sets no optional field. The request
// is left in request.tsq.
Zanthorel::CBlob opensslToken(const Authority& authority, bool cert, bool nonce = true,
                              const std::string& digest = "sha256",
                              const std::string& config = "tsa.cnf");

// An RSA authority's key in a provider, in either build.
zttsp_test::TestSigner rsaSigner(const Authority& authority = pki().rsa);

#ifndef _WIN32
// The P-256 authority's key in a provider: the Linux platform layer's own import, which the
// Windows build has no counterpart of.
zttsp_test::TestSigner ecSigner();
#endif

}  // namespace tsa_test
