// Copying a token, whose TSTInfo fields travel through the codec's structure, against OpenSSL's
// TS_TST_INFO_dup of the same TSTInfo; signing a token and decoding and verifying one against the
// raw OpenSSL operations they are built on.
#include <benchmark/benchmark.h>
#include <openssl/crypto.h>
#include <openssl/pkcs7.h>
#include <openssl/ts.h>

#include <cstdlib>
#include <vector>

#include "bench/bench_key.h"
#include "frame/win32.h"
#include "rfc3161/token.h"

using Zanthorel::CBlob;
using Zanthorel::CBlobList;
using Zanthorel::CDateTime;
using Zanthorel::ASN1::CAlgorithmIdentifierEx;
using Zanthorel::ASN1::CAttribute;
using Zanthorel::ASN1::CAttributes;
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
  for (auto _ : state) {
    TS_TST_INFO* copy = TS_TST_INFO_dup(info);
    benchmark::DoNotOptimize(TS_TST_INFO_get_nonce(copy));
    TS_TST_INFO_free(copy);
  }
  TS_TST_INFO_free(info);
}
BENCHMARK(BM_TokenCopy_openssl);

}  // namespace

namespace {

// The key of `benchKey` in a provider of the platform layer, and its certificate.
class BenchSigner {
 public:
  explicit BenchSigner(const BenchKey& key)
      : certificate_(key.certificate.data(), static_cast<std::uint32_t>(key.certificate.size())) {
    if (!ZtAcquireContextFromPrivateKey(&provider_, key.pkcs8.data(),
                                        static_cast<DWORD>(key.pkcs8.size())))
      std::abort();
  }
  ~BenchSigner() { CryptReleaseContext(provider_, 0); }
  HCRYPTPROV provider() const { return provider_; }
  const CBlob& certificate() const { return certificate_; }

 private:
  HCRYPTPROV provider_ = 0;
  CBlob certificate_;
};

const CAlgorithmIdentifierEx kSha256("2.16.840.1.101.3.4.2.1", bytesOf("0500"));

// typicalToken() as an authority signs it: an ESS signingCertificateV2 attribute (its hash is
// not checked here) and the signer's certificate.
CToken tokenToSign(const BenchSigner& signer) {
  CToken token = typicalToken();
  CAttributes signedAttributes;
  CAttribute ess("1.2.840.113549.1.9.16.2.47");
  ess.add(bytesOf(("3026302430220420" + std::string(64, 'a')).c_str()));
  signedAttributes.push_back(ess);
  CBlobList certificates;
  certificates.push_back(signer.certificate());
  token.put_signedAttributes(&signedAttributes);
  token.put_certificates(&certificates);
  return token;
}

// About the size of such a token's signed attributes, which its signature covers.
const std::vector<unsigned char> kSignedAttributes(150, 0x31);

std::vector<unsigned char> rawSign(EVP_PKEY* key) {
  std::vector<unsigned char> signature(EVP_PKEY_get_size(key));
  std::size_t size = signature.size();
  EVP_MD_CTX* ctx = EVP_MD_CTX_new();
  if (EVP_DigestSignInit(ctx, nullptr, EVP_sha256(), nullptr, key) != 1 ||
      EVP_DigestSign(ctx, signature.data(), &size, kSignedAttributes.data(),
                     kSignedAttributes.size()) != 1)
    std::abort();
  EVP_MD_CTX_free(ctx);
  signature.resize(size);
  return signature;
}

void BM_TokenSign_RawSignature(benchmark::State& state, const BenchKey& key) {
  for (auto _ : state)
    benchmark::DoNotOptimize(rawSign(key.key));
}
BENCHMARK_CAPTURE(BM_TokenSign_RawSignature, rsa2048, benchKey());
BENCHMARK_CAPTURE(BM_TokenSign_RawSignature, p256, benchKeyP256());

void BM_TokenSign_zttsp(benchmark::State& state, const BenchKey& key) {
  const BenchSigner signer(key);
  CToken token = tokenToSign(signer);
  for (auto _ : state)
    token.sign(signer.provider(), AT_SIGNATURE, signer.certificate(), kSha256);
}
BENCHMARK_CAPTURE(BM_TokenSign_zttsp, rsa2048, benchKey());
BENCHMARK_CAPTURE(BM_TokenSign_zttsp, p256, benchKeyP256());

// What every sign spends before it signs: the signer's certificate context, which the platform
// layer makes with d2i_X509.
void BM_TokenSign_CertificateContext(benchmark::State& state) {
  const std::vector<unsigned char>& certificate = benchKey().certificate;
  for (auto _ : state) {
    PCCERT_CONTEXT context =
        CertCreateCertificateContext(X509_ASN_ENCODING | PKCS_7_ASN_ENCODING, certificate.data(),
                                     static_cast<DWORD>(certificate.size()));
    if (context == nullptr) std::abort();
    CertFreeCertificateContext(context);
  }
}
BENCHMARK(BM_TokenSign_CertificateContext);

CBlob signedToken() {
  const BenchSigner signer(benchKey());
  CToken token = tokenToSign(signer);
  token.sign(signer.provider(), AT_SIGNATURE, signer.certificate(), kSha256);
  return token.encode();
}

// What the library's decode and verify are measured against: OpenSSL parsing the same token as
// d2i_TS_RESP does (the PKCS #7 message, then its TSTInfo), plus one RSA-2048 verification with
// a key already loaded.
void BM_TokenDecodeVerify_OpenSSLParseAndRawVerify(benchmark::State& state) {
  const CBlob der = signedToken();
  EVP_PKEY* key = benchKey().key;
  const std::vector<unsigned char> signature = rawSign(key);
  for (auto _ : state) {
    const unsigned char* p = der.pbData();
    PKCS7* token = d2i_PKCS7(nullptr, &p, der.cbData());
    TS_TST_INFO* info = PKCS7_to_TS_TST_INFO(token);
    if (info == nullptr) std::abort();
    EVP_MD_CTX* ctx = EVP_MD_CTX_new();
    if (EVP_DigestVerifyInit(ctx, nullptr, EVP_sha256(), nullptr, key) != 1 ||
        EVP_DigestVerify(ctx, signature.data(), signature.size(), kSignedAttributes.data(),
                         kSignedAttributes.size()) != 1)
      std::abort();
    EVP_MD_CTX_free(ctx);
    TS_TST_INFO_free(info);
    PKCS7_free(token);
  }
}
BENCHMARK(BM_TokenDecodeVerify_OpenSSLParseAndRawVerify);

void BM_TokenDecodeVerify_zttsp(benchmark::State& state) {
  const CBlob der = signedToken();
  const CBlob certificate(benchKey().certificate.data(),
                          static_cast<std::uint32_t>(benchKey().certificate.size()));
  for (auto _ : state) {
    CToken token;
    token.decode(der);
    if (!token.verify(certificate)) std::abort();
  }
}
BENCHMARK(BM_TokenDecodeVerify_zttsp);

}  // namespace
