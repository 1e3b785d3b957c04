// The platform layer's signing and verification, which the tokens and stamps stand on, against the
// raw RSA-2048 operations (BM_RawSign, BM_RawVerify, BM_RawVerifyLoadingKey): a 100-byte
// content, SHA-256, signed attributes.
#include <benchmark/benchmark.h>
#include <openssl/x509.h>

#include <cstdlib>
#include <vector>

#include "bench/allocation_count.h"
#include "bench/authorities.h"
#include "sdk/wincrypt.h"

namespace {

const std::vector<unsigned char> kContent(100, 0x5A);

// One signed message of kContent: CMS form, one signed attribute besides the two computed ones.
std::vector<unsigned char> signOnce(HCRYPTPROV provider, PCCERT_CONTEXT certificate) {
  static BYTE signingTime[] = {0x17, 0x0D, '2', '4', '0', '6', '2', '1',
                               '0',  '7',  '1', '2', '0', '5', 'Z'};
  CRYPT_ATTR_BLOB value = {sizeof signingTime, signingTime};
  CRYPT_ATTRIBUTE attribute = {const_cast<LPSTR>(szOID_RSA_signingTime), 1, &value};
  CMSG_SIGNER_ENCODE_INFO signer{};
  signer.cbSize = sizeof signer;
  signer.pCertInfo = certificate->pCertInfo;
  signer.hCryptProv = provider;
  signer.dwKeySpec = AT_SIGNATURE;
  signer.HashAlgorithm.pszObjId = const_cast<LPSTR>(szOID_NIST_sha256);
  signer.cAuthAttr = 1;
  signer.rgAuthAttr = &attribute;
  CMSG_SIGNED_ENCODE_INFO info{};
  info.cbSize = sizeof info;
  info.cSigners = 1;
  info.rgSigners = &signer;
  HCRYPTMSG message = CryptMsgOpenToEncode(X509_ASN_ENCODING | PKCS_7_ASN_ENCODING,
                                           CMSG_CMS_ENCAPSULATED_CONTENT_FLAG, CMSG_SIGNED, &info,
                                           const_cast<LPSTR>(szOID_TIMESTAMP_TOKEN), nullptr);
  DWORD size = 0;
  if (message == nullptr ||
      !CryptMsgUpdate(message, kContent.data(), static_cast<DWORD>(kContent.size()), TRUE) ||
      !CryptMsgGetParam(message, CMSG_CONTENT_PARAM, 0, nullptr, &size))
    std::abort();
  std::vector<unsigned char> encoded(size);
  CryptMsgGetParam(message, CMSG_CONTENT_PARAM, 0, encoded.data(), &size);
  CryptMsgClose(message);
  return encoded;
}

class PlatformSigner {
 public:
  PlatformSigner()
      : provider_(benchKey()),
        certificate_(CertCreateCertificateContext(
            X509_ASN_ENCODING | PKCS_7_ASN_ENCODING, benchKey().certificate.data(),
            static_cast<DWORD>(benchKey().certificate.size()))) {
    if (certificate_ == nullptr) std::abort();
  }
  ~PlatformSigner() { CertFreeCertificateContext(certificate_); }
  HCRYPTPROV provider() const { return provider_.get(); }
  PCCERT_CONTEXT certificate() const { return certificate_; }

 private:
  BenchProvider provider_;
  PCCERT_CONTEXT certificate_;
};

void BM_Sign_CryptMsg(benchmark::State& state) {
  const PlatformSigner signer;
  const AllocationCount counting(state);
  for (auto _ : state) {
    benchmark::DoNotOptimize(signOnce(signer.provider(), signer.certificate()));
  }
}
BENCHMARK(BM_Sign_CryptMsg);

// What every sign and verify spends on the certificate it is given: its context, whose fields
// OpenSSL checks one by one.
void BM_CertificateContext(benchmark::State& state) {
  const std::vector<unsigned char>& certificate = benchKey().certificate;
  const AllocationCount counting(state);
  for (auto _ : state) {
    PCCERT_CONTEXT context =
        CertCreateCertificateContext(X509_ASN_ENCODING | PKCS_7_ASN_ENCODING, certificate.data(),
                                     static_cast<DWORD>(certificate.size()));
    if (context == nullptr) std::abort();
    CertFreeCertificateContext(context);
  }
}
BENCHMARK(BM_CertificateContext);

// CMSG_CTRL_VERIFY_SIGNATURE on a decoded message: finding the signer, the public key from the
// CERT_INFO, the content digest against messageDigest, the signature.
void BM_Verify_CryptMsgControl(benchmark::State& state) {
  const PlatformSigner signer;
  const std::vector<unsigned char> message = signOnce(signer.provider(), signer.certificate());
  HCRYPTMSG decoded =
      CryptMsgOpenToDecode(X509_ASN_ENCODING | PKCS_7_ASN_ENCODING, 0, 0, 0, nullptr, nullptr);
  if (!CryptMsgUpdate(decoded, message.data(), static_cast<DWORD>(message.size()), TRUE))
    std::abort();
  {
    const AllocationCount counting(state);
    for (auto _ : state) {
      if (!CryptMsgControl(decoded, 0, CMSG_CTRL_VERIFY_SIGNATURE, signer.certificate()->pCertInfo))
        std::abort();
    }
  }
  CryptMsgClose(decoded);
}
BENCHMARK(BM_Verify_CryptMsgControl);

}  // namespace
