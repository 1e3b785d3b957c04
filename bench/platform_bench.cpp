// The platform layer's signing and verification against the raw OpenSSL RSA-2048 operation they
// are built on: a 100-byte content, SHA-256, signed attributes.
#include <benchmark/benchmark.h>
#include <openssl/evp.h>
#include <openssl/x509.h>

#include <cstdlib>
#include <vector>

#include "bench/bench_key.h"
#include "platform/wincrypt.h"

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
  PlatformSigner() {
    const BenchKey& key = benchKey();
    if (!ZtAcquireContextFromPrivateKey(&provider_, key.pkcs8.data(),
                                        static_cast<DWORD>(key.pkcs8.size())))
      std::abort();
    certificate_ = CertCreateCertificateContext(X509_ASN_ENCODING | PKCS_7_ASN_ENCODING,
                                                key.certificate.data(),
                                                static_cast<DWORD>(key.certificate.size()));
    if (certificate_ == nullptr) std::abort();
  }
  ~PlatformSigner() {
    CertFreeCertificateContext(certificate_);
    CryptReleaseContext(provider_, 0);
  }
  HCRYPTPROV provider() const { return provider_; }
  PCCERT_CONTEXT certificate() const { return certificate_; }

 private:
  HCRYPTPROV provider_ = 0;
  PCCERT_CONTEXT certificate_ = nullptr;
};

// The bytes a signature with signed attributes covers: about the size of the platform's SET.
const std::vector<unsigned char> kSignedBytes(110, 0x31);

void BM_Sign_RawEvpDigestSign(benchmark::State& state) {
  EVP_PKEY* key = benchKey().key;
  std::vector<unsigned char> signature(256);
  for (auto _ : state) {
    EVP_MD_CTX* ctx = EVP_MD_CTX_new();
    std::size_t size = signature.size();
    if (EVP_DigestSignInit(ctx, nullptr, EVP_sha256(), nullptr, key) != 1 ||
        EVP_DigestSign(ctx, signature.data(), &size, kSignedBytes.data(), kSignedBytes.size()) != 1)
      std::abort();
    EVP_MD_CTX_free(ctx);
    benchmark::DoNotOptimize(signature.data());
  }
}
BENCHMARK(BM_Sign_RawEvpDigestSign);

void BM_Sign_CryptMsg(benchmark::State& state) {
  const PlatformSigner signer;
  for (auto _ : state) {
    benchmark::DoNotOptimize(signOnce(signer.provider(), signer.certificate()));
  }
}
BENCHMARK(BM_Sign_CryptMsg);

std::vector<unsigned char> rawSignature() {
  std::vector<unsigned char> signature(256);
  std::size_t size = signature.size();
  EVP_MD_CTX* ctx = EVP_MD_CTX_new();
  if (EVP_DigestSignInit(ctx, nullptr, EVP_sha256(), nullptr, benchKey().key) != 1 ||
      EVP_DigestSign(ctx, signature.data(), &size, kSignedBytes.data(), kSignedBytes.size()) != 1)
    std::abort();
  EVP_MD_CTX_free(ctx);
  signature.resize(size);
  return signature;
}

void rawVerify(EVP_PKEY* key, const std::vector<unsigned char>& signature) {
  EVP_MD_CTX* ctx = EVP_MD_CTX_new();
  if (EVP_DigestVerifyInit(ctx, nullptr, EVP_sha256(), nullptr, key) != 1 ||
      EVP_DigestVerify(ctx, signature.data(), signature.size(), kSignedBytes.data(),
                       kSignedBytes.size()) != 1)
    std::abort();
  EVP_MD_CTX_free(ctx);
}

void BM_Verify_RawEvpDigestVerify(benchmark::State& state) {
  EVP_PKEY* key = benchKey().key;
  const std::vector<unsigned char> signature = rawSignature();
  for (auto _ : state) {
    rawVerify(key, signature);
  }
}
BENCHMARK(BM_Verify_RawEvpDigestVerify);

// The same verification as a verifier that gets the key with each signature would make it: the
// key loaded from the certificate's key octets on every call, as CMSG_CTRL_VERIFY_SIGNATURE does.
void BM_Verify_RawWithKeyFromCertificate(benchmark::State& state) {
  EVP_PKEY* key = benchKey().key;
  unsigned char* publicKey = nullptr;
  const int publicKeySize = i2d_PublicKey(key, &publicKey);
  const std::vector<unsigned char> signature = rawSignature();
  for (auto _ : state) {
    const unsigned char* cursor = publicKey;
    EVP_PKEY* loaded = d2i_PublicKey(EVP_PKEY_RSA, nullptr, &cursor, publicKeySize);
    rawVerify(loaded, signature);
    EVP_PKEY_free(loaded);
  }
  OPENSSL_free(publicKey);
}
BENCHMARK(BM_Verify_RawWithKeyFromCertificate);

// CMSG_CTRL_VERIFY_SIGNATURE on a decoded message: finding the signer, the public key from the
// CERT_INFO, the content digest against messageDigest, the signature.
void BM_Verify_CryptMsgControl(benchmark::State& state) {
  const PlatformSigner signer;
  const std::vector<unsigned char> message = signOnce(signer.provider(), signer.certificate());
  HCRYPTMSG decoded =
      CryptMsgOpenToDecode(X509_ASN_ENCODING | PKCS_7_ASN_ENCODING, 0, 0, 0, nullptr, nullptr);
  if (!CryptMsgUpdate(decoded, message.data(), static_cast<DWORD>(message.size()), TRUE))
    std::abort();
  for (auto _ : state) {
    if (!CryptMsgControl(decoded, 0, CMSG_CTRL_VERIFY_SIGNATURE, signer.certificate()->pCertInfo))
      std::abort();
  }
  CryptMsgClose(decoded);
}
BENCHMARK(BM_Verify_CryptMsgControl);

}  // namespace
