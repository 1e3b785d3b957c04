// Tokens beside OpenSSL's: copying one (its TSTInfo fields travel through the codec's structure)
// against TS_TST_INFO_dup; an authority answering a request with a signed token against
// TS_RESP_create_response; decoding and verifying a token against d2i_PKCS7 and a signature-only
// TS_RESP_verify_token. Signing and verifying are also set against their floors, the bare
// signature and verification with a loaded key.
#include <benchmark/benchmark.h>
#include <openssl/crypto.h>
#include <openssl/pkcs7.h>
#include <openssl/ts.h>

#include <cstdlib>
#include <vector>

#include "bench/allocation_count.h"
#include "bench/authorities.h"
#include "capi/zttsp.h"
#include "rfc3161/token.h"

using Zanthorel::CBlob;
using Zanthorel::CDateTime;
using Zanthorel::ASN1::CAlgorithmIdentifierEx;
using Zanthorel::ASN1::CBigInteger;
using Zanthorel::ASN1::CGeneralName;
using Zanthorel::PKI::TSP::CAccuracy;
using Zanthorel::PKI::TSP::CToken;

namespace {

// Made by `openssl ts -reply`: SHA-256 imprint, accuracy, ordering, nonce, TSA name.
const char kTSTInfo[] =
    "3081b2020101060a2b06010401868d1f07013031300d0609608648016503040201050004205891b5b522d5df08"
    "6d0ff0b110fbd9d21bb4fc7163af34d08286a2e846f6be03020a0a1b2c3d4e5f6071829418163230323631313233"
    "3030343235302e3638363733385a300a020101800201f48101640101ff020900f61feba1020f7317a030a42e302c"
    "31173015060355040a0c0e5a616e74686f72656c20546573743111300f06035504030c085465737420545341";
const char kImprint[] = "5891b5b522d5df086d0ff0b110fbd9d21bb4fc7163af34d08286a2e846f6be03";
const char kTsaName[] =
    "302c31173015060355040a0c0e5a616e74686f72656c20546573743111300f06035504030c085465737420545341";

CBlob bytesOf(const char* hex) {
  long length = 0;
  unsigned char* bytes = OPENSSL_hexstr2buf(hex, &length);
  if (bytes == nullptr) std::abort();
  CBlob blob(bytes, static_cast<std::uint32_t>(length));
  OPENSSL_free(bytes);
  return blob;
}

// The token that kTSTInfo describes.
CToken typicalToken() {
  CToken token("1.3.6.1.4.1.99999.7.1",
               CAlgorithmIdentifierEx("2.16.840.1.101.3.4.2.1", bytesOf("0500")), bytesOf(kImprint),
               CBigInteger("0x0A1B2C3D4E5F60718294"), CDateTime("20261123004250.686738Z"), true);
  const CAccuracy accuracy(1, 500, 100);
  const CBigInteger nonce("0xF61FEBA1020F7317");
  const CGeneralName tsa = CGeneralName::fromDirectoryName(bytesOf(kTsaName));
  token.put_accuracy(&accuracy);
  token.put_nonce(&nonce);
  token.put_tsa(&tsa);
  return token;
}

void BM_TokenCopy_zttsp(benchmark::State& state) {
  const CToken token = typicalToken();
  const AllocationCount counting(state);
  for (auto _ : state) {
    CToken copy(token);
    benchmark::DoNotOptimize(copy.get_nonce());
  }
}
BENCHMARK(BM_TokenCopy_zttsp);

void BM_TokenCopy_openssl(benchmark::State& state) {
  const CBlob der = bytesOf(kTSTInfo);
  const unsigned char* p = der.pbData();
  TS_TST_INFO* info = d2i_TS_TST_INFO(nullptr, &p, der.cbData());
  if (info == nullptr) std::abort();
  {
    const AllocationCount counting(state);
    for (auto _ : state) {
      TS_TST_INFO* copy = TS_TST_INFO_dup(info);
      benchmark::DoNotOptimize(TS_TST_INFO_get_nonce(copy));
      TS_TST_INFO_free(copy);
    }
  }
  TS_TST_INFO_free(info);
}
BENCHMARK(BM_TokenCopy_openssl);

void BM_RawSign(benchmark::State& state, KeyOf key) {
  EVP_PKEY* loaded = key().key;
  const AllocationCount counting(state);
  for (auto _ : state)
    benchmark::DoNotOptimize(rawSign(loaded));
}
BENCHMARK_EACH_KEY(BM_RawSign);

void BM_RawVerify(benchmark::State& state, KeyOf key) {
  EVP_PKEY* loaded = key().key;
  const std::vector<unsigned char> signature = rawSign(loaded);
  const AllocationCount counting(state);
  for (auto _ : state)
    if (!rawVerify(loaded, signature)) std::abort();
}
BENCHMARK_EACH_KEY(BM_RawVerify);

// The floor of a verifier that gets a key with each signature: the key loaded from its octets
// (and, for EC, its curve) the cheapest way OpenSSL offers, then the verification, which computes
// again what a loaded key keeps, such as RSA's Montgomery form. Parsing a whole certificate with
// d2i_X509 would cost several times the verification.
void BM_RawVerifyLoadingKey(benchmark::State& state, KeyOf key) {
  EVP_PKEY* signer = key().key;
  const std::vector<unsigned char> signature = rawSign(signer);
  const int type = EVP_PKEY_get_base_id(signer);
  unsigned char* octets = nullptr;
  const long octetsSize = i2d_PublicKey(signer, &octets);
  unsigned char* parameters = nullptr;
  const long parametersSize = type == EVP_PKEY_EC ? i2d_KeyParams(signer, &parameters) : 0;
  {
    const AllocationCount counting(state);
    for (auto _ : state) {
      EVP_PKEY* loaded = nullptr;
      if (parametersSize > 0) {
        const unsigned char* cursor = parameters;
        loaded = d2i_KeyParams(type, nullptr, &cursor, parametersSize);
      }
      const unsigned char* cursor = octets;
      if (d2i_PublicKey(type, &loaded, &cursor, octetsSize) == nullptr ||
          !rawVerify(loaded, signature))
        std::abort();
      EVP_PKEY_free(loaded);
    }
  }
  OPENSSL_free(parameters);
  OPENSSL_free(octets);
}
BENCHMARK_EACH_KEY(BM_RawVerifyLoadingKey);

PKCS7* parsedToken(const CBlob& der) {
  const unsigned char* cursor = der.pbData();
  return d2i_PKCS7(nullptr, &cursor, der.cbData());
}

// Request DER in, response DER out, as a server answers.
void BM_TokenSign_zttsp(benchmark::State& state, KeyOf key) {
  const ZttspAuthority authority(key());
  const CBlob request = typicalRequest();
  // OpenSSL must take what is measured for the token it makes.
  PKCS7* token = parsedToken(tokenIn(authority.answer(request)));
  if (token == nullptr || !OpenSslTokenVerifier(key()).verify(token)) std::abort();
  PKCS7_free(token);
  const AllocationCount counting(state);
  for (auto _ : state)
    benchmark::DoNotOptimize(authority.answer(request));
}
BENCHMARK_EACH_KEY(BM_TokenSign_zttsp);

void BM_TokenSign_openssl(benchmark::State& state, KeyOf key) {
  const OpenSslAuthority authority(key());
  const CBlob request = typicalRequest();
  const AllocationCount counting(state);
  for (auto _ : state)
    benchmark::DoNotOptimize(authority.answer(request));
}
BENCHMARK_EACH_KEY(BM_TokenSign_openssl);

// Both sides take the token of the same response of OpenSSL's authority.
void BM_TokenDecodeVerify_zttsp(benchmark::State& state, KeyOf key) {
  const CBlob der = tokenIn(opensslResponse(key()));
  const CBlob certificate = blobOf(key().certificate);
  const AllocationCount counting(state);
  for (auto _ : state) {
    CToken token;
    token.decode(der);
    if (!token.verify(certificate)) std::abort();
  }
}
BENCHMARK_EACH_KEY(BM_TokenDecodeVerify_zttsp);

// The same through the C interface: what its handles, argument checks and error guard add.
void BM_TokenDecodeVerify_c(benchmark::State& state, KeyOf key) {
  const CBlob der = tokenIn(opensslResponse(key()));
  const CBlob certificate = blobOf(key().certificate);
  const AllocationCount counting(state);
  for (auto _ : state) {
    zttsp_token* token = nullptr;
    if (zttsp_token_decode(der.pbData(), der.cbData(), &token) != ZTTSP_OK ||
        zttsp_token_verify(token, certificate.pbData(), certificate.cbData()) != ZTTSP_OK ||
        zttsp_token_release(token) != ZTTSP_OK)
      std::abort();
  }
}
BENCHMARK_EACH_KEY(BM_TokenDecodeVerify_c);

void BM_TokenDecodeVerify_openssl(benchmark::State& state, KeyOf key) {
  const CBlob der = tokenIn(opensslResponse(key()));
  const OpenSslTokenVerifier verifier(key());
  const AllocationCount counting(state);
  for (auto _ : state) {
    PKCS7* token = parsedToken(der);
    if (token == nullptr || !verifier.verify(token)) std::abort();
    PKCS7_free(token);
  }
}
BENCHMARK_EACH_KEY(BM_TokenDecodeVerify_openssl);

}  // namespace
