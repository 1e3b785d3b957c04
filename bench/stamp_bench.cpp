// Signing an Authenticode time stamp, and decoding and verifying one, beside OpenSSL's CMS_sign and
// CMS_verify doing the same with the same key: a 256-byte signature stamped, SHA-256, the signer's
// certificate parsed on every call and carried in the message.
#include <benchmark/benchmark.h>
#include <openssl/cms.h>
#include <openssl/x509.h>

#include <cstdlib>
#include <vector>

#include "authenticode/ms_stamp.h"
#include "bench/bench_key.h"
#include "frame/win32.h"
#include "outside/ztasn1/octet_string.h"

using Zanthorel::CBlob;
using Zanthorel::CBlobList;
using Zanthorel::CDateTime;
using Zanthorel::ASN1::CAlgorithmIdentifierEx;
using Zanthorel::PKI::TSP::CMSStamp;

namespace {

const std::vector<unsigned char> kStamped(256, 0xA5);  // what a client sends to be stamped

CBlob blobOf(const std::vector<unsigned char>& bytes) {
  return CBlob(bytes.data(), static_cast<std::uint32_t>(bytes.size()));
}

// The key in a provider of the platform layer; the caller releases it.
HCRYPTPROV providerFor(const BenchKey& key) {
  HCRYPTPROV provider = 0;
  if (!ZtAcquireContextFromPrivateKey(&provider, key.pkcs8.data(),
                                      static_cast<DWORD>(key.pkcs8.size())))
    std::abort();
  return provider;
}

CMSStamp stampFor(const BenchKey& key) {
  CMSStamp stamp(Zanthorel::ASN1::toOctetString(blobOf(kStamped)), CDateTime("20240621071205Z"));
  CBlobList certificates;
  certificates.push_back(blobOf(key.certificate));
  stamp.put_certificates(&certificates);
  return stamp;
}

const CAlgorithmIdentifierEx& sha256() {
  static const CAlgorithmIdentifierEx sha256("2.16.840.1.101.3.4.2.1", CBlob("\x05\x00", 2));
  return sha256;
}

X509* certificateOf(const BenchKey& key) {
  const unsigned char* cursor = key.certificate.data();
  X509* certificate = d2i_X509(nullptr, &cursor, static_cast<long>(key.certificate.size()));
  if (certificate == nullptr) std::abort();
  return certificate;
}

void BM_StampSign_zttsp(benchmark::State& state, const BenchKey& key) {
  const HCRYPTPROV provider = providerFor(key);
  const CBlob certificate = blobOf(key.certificate);
  CMSStamp stamp = stampFor(key);
  for (auto _ : state) {
    stamp.sign(provider, AT_SIGNATURE, certificate, sha256());
  }
  CryptReleaseContext(provider, 0);
}
BENCHMARK_CAPTURE(BM_StampSign_zttsp, rsa2048, benchKey());
BENCHMARK_CAPTURE(BM_StampSign_zttsp, p256, benchKeyP256());

// CMS_sign adds contentType, messageDigest and signingTime, as the stamp has them.
void BM_StampSign_openssl(benchmark::State& state, const BenchKey& key) {
  for (auto _ : state) {
    X509* certificate = certificateOf(key);
    BIO* content = BIO_new_mem_buf(kStamped.data(), static_cast<int>(kStamped.size()));
    CMS_ContentInfo* cms =
        CMS_sign(certificate, key.key, nullptr, content, CMS_BINARY | CMS_NOSMIMECAP);
    unsigned char* der = nullptr;
    if (cms == nullptr || i2d_CMS_ContentInfo(cms, &der) <= 0) std::abort();
    OPENSSL_free(der);
    CMS_ContentInfo_free(cms);
    BIO_free(content);
    X509_free(certificate);
  }
}
BENCHMARK_CAPTURE(BM_StampSign_openssl, rsa2048, benchKey());
BENCHMARK_CAPTURE(BM_StampSign_openssl, p256, benchKeyP256());

CBlob signedMessage(const BenchKey& key) {
  const HCRYPTPROV provider = providerFor(key);
  CMSStamp stamp = stampFor(key);
  stamp.sign(provider, AT_SIGNATURE, blobOf(key.certificate), sha256());
  CryptReleaseContext(provider, 0);
  return stamp.encode();
}

// What a client does: the content, signing time and certificates read, the signature checked.
void BM_StampDecodeVerify_zttsp(benchmark::State& state, const BenchKey& key) {
  const CBlob message = signedMessage(key);
  const CBlob certificate = blobOf(key.certificate);
  for (auto _ : state) {
    CMSStamp stamp;
    stamp.decode(message);
    if (!stamp.verify(certificate)) std::abort();
    benchmark::DoNotOptimize(stamp.get_signingTime());
  }
}
BENCHMARK_CAPTURE(BM_StampDecodeVerify_zttsp, rsa2048, benchKey());
BENCHMARK_CAPTURE(BM_StampDecodeVerify_zttsp, p256, benchKeyP256());

void BM_StampDecodeVerify_openssl(benchmark::State& state, const BenchKey& key) {
  const CBlob message = signedMessage(key);
  for (auto _ : state) {
    const unsigned char* cursor = message.pbData();
    CMS_ContentInfo* cms = d2i_CMS_ContentInfo(nullptr, &cursor, message.cbData());
    STACK_OF(X509)* certificates = sk_X509_new_null();
    sk_X509_push(certificates, certificateOf(key));
    BIO* content = BIO_new(BIO_s_mem());
    if (cms == nullptr || CMS_verify(cms, certificates, nullptr, nullptr, content,
                                     CMS_BINARY | CMS_NO_SIGNER_CERT_VERIFY) != 1)
      std::abort();
    CMS_SignerInfo* signer = sk_CMS_SignerInfo_value(CMS_get0_SignerInfos(cms), 0);
    benchmark::DoNotOptimize(
        CMS_signed_get_attr(signer, CMS_signed_get_attr_by_NID(signer, NID_pkcs9_signingTime, -1)));
    BIO_free(content);
    sk_X509_pop_free(certificates, X509_free);
    CMS_ContentInfo_free(cms);
  }
}
BENCHMARK_CAPTURE(BM_StampDecodeVerify_openssl, rsa2048, benchKey());
BENCHMARK_CAPTURE(BM_StampDecodeVerify_openssl, p256, benchKeyP256());

}  // namespace
