// The two time-stamp authorities the benchmarks compare, each answering a request DER with a
// response DER as a server does: ours on the library, OpenSSL's on TS_RESP_create_response.
// Both put in the same fields: the request's imprint and nonce, a policy, an accuracy of one
// second, the signer's certificate when asked for, an ESS signingCertificateV2 attribute, a
// SHA-256 signature.
#pragma once

#include <openssl/ts.h>

#include <vector>

#include "bench/bench_key.h"
#include "frame/algorithm_identifier_ex.h"
#include "outside/ztasn1/attributes.h"
#include "outside/ztasn1/big_integer.h"
#include "outside/ztlib/blob.h"
#include "outside/ztlib/dll_list.h"
#include "rfc3161/token.h"
#include "sdk/win32.h"

Zanthorel::CBlob blobOf(const std::vector<unsigned char>& bytes);

const Zanthorel::ASN1::CAlgorithmIdentifierEx& sha256Algorithm();

// The key's certificate parsed by OpenSSL; the caller frees it.
X509* parsedCertificate(const BenchKey& key);

// A typical request: SHA-256 imprint, a 64-bit nonce, a policy, certReq.
Zanthorel::CBlob typicalRequest();

// The key in a provider of the platform layer, released with the object.
class BenchProvider {
 public:
  explicit BenchProvider(const BenchKey& key);
  ~BenchProvider();
  BenchProvider(const BenchProvider&) = delete;
  BenchProvider& operator=(const BenchProvider&) = delete;
  HCRYPTPROV get() const { return provider_; }

 private:
  HCRYPTPROV provider_ = 0;
};

class ZttspAuthority {
 public:
  explicit ZttspAuthority(const BenchKey& key);
  Zanthorel::CBlob answer(const Zanthorel::CBlob& request) const;

 private:
  BenchProvider provider_;
  Zanthorel::CBlob certificate_;
  Zanthorel::CBlobList certificates_;
  Zanthorel::ASN1::CAttributes essAttributes_;  // made once: the same for every token
  Zanthorel::ASN1::CBigInteger serialNumber_;
  Zanthorel::PKI::TSP::CAccuracy accuracy_;
};

class OpenSslAuthority {
 public:
  explicit OpenSslAuthority(const BenchKey& key);
  ~OpenSslAuthority();
  OpenSslAuthority(const OpenSslAuthority&) = delete;
  OpenSslAuthority& operator=(const OpenSslAuthority&) = delete;
  Zanthorel::CBlob answer(const Zanthorel::CBlob& request) const;

 private:
  X509* certificate_ = nullptr;
  TS_RESP_CTX* context_ = nullptr;
};

// A response of OpenSSL's authority to typicalRequest(), and the token in it.
Zanthorel::CBlob opensslResponse(const BenchKey& key);
Zanthorel::CBlob tokenIn(const Zanthorel::CBlob& response);

// OpenSSL's signature-only check of a token: the signer found among the token's certificates,
// chained to the signer's certificate as the only trust anchor, with its ESS attribute and
// signature checked.
class OpenSslTokenVerifier {
 public:
  explicit OpenSslTokenVerifier(const BenchKey& key);
  ~OpenSslTokenVerifier();
  OpenSslTokenVerifier(const OpenSslTokenVerifier&) = delete;
  OpenSslTokenVerifier& operator=(const OpenSslTokenVerifier&) = delete;
  bool verify(PKCS7* token) const;

 private:
  TS_VERIFY_CTX* context_ = nullptr;
};

// The floors: one signature with a loaded key over the bytes of a typical set of signed
// attributes, and its verification.
std::vector<unsigned char> rawSign(EVP_PKEY* key);
bool rawVerify(EVP_PKEY* key, const std::vector<unsigned char>& signature);
