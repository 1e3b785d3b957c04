// Signing an Authenticode time stamp, and decoding and verifying one, beside OpenSSL's CMS_sign and
// CMS_verify doing the same with the same key: a 256-byte signature stamped, SHA-256, the signer's
// certificate parsed on every call and carried in the message.
#include <benchmark/benchmark.h>
#include <openssl/cms.h>
#include <openssl/x509.h>

#include <cstdlib>
#include <vector>

#include "authenticode/ms_stamp.h"
#include "bench/allocation_count.h"
#include "bench/authorities.h"
#include "outside/ztasn1/octet_string.h"

using Zanthorel::CBlob;
using Zanthorel::CBlobList;
using Zanthorel::CDateTime;
using Zanthorel::PKI::TSP::CMSStamp;

namespace {

const std::vector<unsigned char> kStamped(256, 0xA5);  // what a client sends to be stamped

CMSStamp stampFor(const BenchKey& key) {
  CMSStamp stamp(Zanthorel::ASN1::toOctetString(blobOf(kStamped)), CDateTime("20240621071205Z"));
  CBlobList certificates;
  certificates.push_back(blobOf(key.certificate));
  stamp.put_certificates(&certificates);
  return stamp;
}

void BM_StampSign_zttsp(benchmark::State& state, KeyOf key) {
  const BenchProvider provider(key());
  const CBlob certificate = blobOf(key().certificate);
  CMSStamp stamp = stampFor(key());
  const AllocationCount counting(state);
  for (auto _ : state) {
    stamp.sign(provider.get(), AT_SIGNATURE, certificate, sha256Algorithm());
    benchmark::DoNotOptimize(stamp.encode());
  }
}
BENCHMARK_EACH_KEY(BM_StampSign_zttsp);

// CMS_sign adds contentType, messageDigest and signingTime, as the stamp has them.
void BM_StampSign_openssl(benchmark::State& state, KeyOf key) {
  const BenchKey& signer = key();
  const AllocationCount counting(state);
  for (auto _ : state) {
    X509* certificate = parsedCertificate(signer);
    BIO* content = BIO_new_mem_buf(kStamped.data(), static_cast<int>(kStamped.size()));
    CMS_ContentInfo* cms =
        CMS_sign(certificate, signer.key, nullptr, content, CMS_BINARY | CMS_NOSMIMECAP);
    unsigned char* der = nullptr;
    if (cms == nullptr || i2d_CMS_ContentInfo(cms, &der) <= 0) std::abort();
    OPENSSL_free(der);
    CMS_ContentInfo_free(cms);
    BIO_free(content);
    X509_free(certificate);
  }
}
BENCHMARK_EACH_KEY(BM_StampSign_openssl);

CBlob signedMessage(const BenchKey& key) {
  const BenchProvider provider(key);
  CMSStamp stamp = stampFor(key);
  stamp.sign(provider.get(), AT_SIGNATURE, blobOf(key.certificate), sha256Algorithm());
  return stamp.encode();
}

// What a client does: the content, signing time and certificates read, the signature checked.
void BM_StampDecodeVerify_zttsp(benchmark::State& state, KeyOf key) {
  const CBlob message = signedMessage(key());
  const CBlob certificate = blobOf(key().certificate);
  const AllocationCount counting(state);
  for (auto _ : state) {
    CMSStamp stamp;
    stamp.decode(message);
    if (!stamp.verify(certificate)) std::abort();
    benchmark::DoNotOptimize(stamp.get_signingTime());
  }
}
BENCHMARK_EACH_KEY(BM_StampDecodeVerify_zttsp);

void BM_StampDecodeVerify_openssl(benchmark::State& state, KeyOf key) {
  const BenchKey& signer = key();
  const CBlob message = signedMessage(signer);
  const AllocationCount counting(state);
  for (auto _ : state) {
    const unsigned char* cursor = message.pbData();
    CMS_ContentInfo* cms = d2i_CMS_ContentInfo(nullptr, &cursor, message.cbData());
    STACK_OF(X509)* certificates = sk_X509_new_null();
    sk_X509_push(certificates, parsedCertificate(signer));
    BIO* content = BIO_new(BIO_s_mem());
    if (cms == nullptr || CMS_verify(cms, certificates, nullptr, nullptr, content,
                                     CMS_BINARY | CMS_NO_SIGNER_CERT_VERIFY) != 1)
      std::abort();
    CMS_SignerInfo* signerInfo = sk_CMS_SignerInfo_value(CMS_get0_SignerInfos(cms), 0);
    benchmark::DoNotOptimize(CMS_signed_get_attr(
        signerInfo, CMS_signed_get_attr_by_NID(signerInfo, NID_pkcs9_signingTime, -1)));
    BIO_free(content);
    sk_X509_pop_free(certificates, X509_free);
    CMS_ContentInfo_free(cms);
  }
}
BENCHMARK_EACH_KEY(BM_StampDecodeVerify_openssl);

}  // namespace
