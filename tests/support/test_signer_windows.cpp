// TestSigner in the Windows build: keys from the enhanced RSA and AES provider, the certificate
// built and signed by CRYPT32. CertCreateSelfSignCertificate is not used: Wine's writes a v1
// certificate without extensions whose random serial number is negative half the time.
#include <cstdio>
#include <stdexcept>
#include <string>
#include <utility>

#include "outside/asn1rt/ber_reader.h"
#include "tests/support/test_signer.h"

namespace zttsp_test {
namespace {

void check(bool ok, const char* what) {
  if (ok) return;
  char message[128];
  std::snprintf(message, sizeof message, "%s failed: 0x%08lX", what, GetLastError());
  throw std::runtime_error(message);
}

// A key container of its own that lives in memory only, released unless handed on.
class OwnProvider {
 public:
  OwnProvider() {
    check(CryptAcquireContextW(&handle_, nullptr, MS_ENH_RSA_AES_PROV_W, PROV_RSA_AES,
                               CRYPT_VERIFYCONTEXT),
          "CryptAcquireContext");
  }
  ~OwnProvider() {
    if (handle_ != 0) CryptReleaseContext(handle_, 0);
  }
  OwnProvider(const OwnProvider&) = delete;
  OwnProvider& operator=(const OwnProvider&) = delete;

  HCRYPTPROV get() const { return handle_; }
  HCRYPTPROV release() { return std::exchange(handle_, 0); }

 private:
  HCRYPTPROV handle_ = 0;
};

// Calls `produce(buffer, &size)` for the size and then for the bytes, as CRYPT32 functions
// that return variable-length data want.
template <class Produce>
Zanthorel::CBlob produceBytes(const char* what, Produce produce) {
  DWORD size = 0;
  check(produce(nullptr, &size), what);
  Zanthorel::CBlob bytes(size);
  check(produce(bytes.pbData(), &size), what);
  bytes.resize_to(size);
  return bytes;
}

FILETIME fileTimeFromNow(long long seconds) {
  FILETIME now;
  GetSystemTimeAsFileTime(&now);
  ULARGE_INTEGER t;
  t.LowPart = now.dwLowDateTime;
  t.HighPart = now.dwHighDateTime;
  t.QuadPart += seconds * 10000000;
  return {t.LowPart, t.HighPart};
}

Zanthorel::CBlob selfSignedCertificate(HCRYPTPROV provider, const std::string& commonName) {
  const std::string x500 = "CN=\"" + commonName + "\"";
  Zanthorel::CBlob name = produceBytes("CertStrToName", [&](BYTE* out, DWORD* size) {
    return CertStrToNameA(X509_ASN_ENCODING, x500.c_str(), CERT_X500_NAME_STR, nullptr, out, size,
                          nullptr);
  });
  Zanthorel::CBlob publicKey =
      produceBytes("CryptExportPublicKeyInfo", [&](BYTE* out, DWORD* size) {
        return CryptExportPublicKeyInfo(provider, AT_SIGNATURE, X509_ASN_ENCODING,
                                        reinterpret_cast<PCERT_PUBLIC_KEY_INFO>(out), size);
      });

  LPSTR timeStamping = const_cast<LPSTR>(szOID_PKIX_KP_TIMESTAMP_SIGNING);
  CERT_ENHKEY_USAGE usage{1, &timeStamping};
  Zanthorel::CBlob usageValue = produceBytes("CryptEncodeObject", [&](BYTE* out, DWORD* size) {
    return CryptEncodeObject(X509_ASN_ENCODING, X509_ENHANCED_KEY_USAGE, &usage, out, size);
  });
  CERT_EXTENSION extension{const_cast<LPSTR>(szOID_ENHANCED_KEY_USAGE),
                           TRUE,
                           {usageValue.cbData(), usageValue.pbData()}};

  // Little-endian: the last byte is the most significant; clearing its top bit keeps it positive.
  BYTE serial[16];
  check(CryptGenRandom(provider, sizeof serial, serial), "CryptGenRandom");
  serial[15] = static_cast<BYTE>((serial[15] & 0x7F) | 0x40);

  BYTE nullParameters[] = {0x05, 0x00};
  CRYPT_ALGORITHM_IDENTIFIER sha256WithRsa{const_cast<LPSTR>(szOID_RSA_SHA256RSA),
                                           {sizeof nullParameters, nullParameters}};
  CERT_INFO info{};
  info.dwVersion = CERT_V3;
  info.SerialNumber = {sizeof serial, serial};
  info.SignatureAlgorithm = sha256WithRsa;
  info.Issuer = info.Subject = {name.cbData(), name.pbData()};
  info.NotBefore = fileTimeFromNow(-3600);
  info.NotAfter = fileTimeFromNow(365LL * 24 * 3600);
  info.SubjectPublicKeyInfo = *reinterpret_cast<PCERT_PUBLIC_KEY_INFO>(publicKey.pbData());
  info.cExtension = 1;
  info.rgExtension = &extension;
  return produceBytes("CryptSignAndEncodeCertificate", [&](BYTE* out, DWORD* size) {
    return CryptSignAndEncodeCertificate(provider, AT_SIGNATURE, X509_ASN_ENCODING,
                                         X509_CERT_TO_BE_SIGNED, &info, &sha256WithRsa, nullptr,
                                         out, size);
  });
}

// The RSAPrivateKey inside a PKCS #8 PrivateKeyInfo, which CRYPT32 cannot decode itself (Wine
// has no decoder for PKCS_PRIVATE_KEY_INFO).
Zanthorel::CBlob rsaPrivateKeyOf(const Zanthorel::CBlob& pkcs8) {
  ASN1CTXT context;
  BerReader in(pkcs8.pbData(), pkcs8.cbData(), &context), info, algorithm;
  ASN1DynOctStr version{}, key{};
  if (!(in.readSequence(info) && info.readIntegerOctets(version) && info.readSequence(algorithm) &&
        info.readOctetString(key)))
    throw std::runtime_error("the private key is no PKCS #8 PrivateKeyInfo: status " +
                             std::to_string(context.status) + " at offset " +
                             std::to_string(context.errorOffset));
  return Zanthorel::CBlob(key.data, key.numocts);
}

}  // namespace

TestSigner TestSigner::generateRsa(const std::string& commonName) {
  OwnProvider provider;
  HCRYPTKEY key = 0;
  check(CryptGenKey(provider.get(), AT_SIGNATURE, 2048u << 16, &key), "CryptGenKey");
  CryptDestroyKey(key);
  Zanthorel::CBlob certificate = selfSignedCertificate(provider.get(), commonName);
  return TestSigner(provider.release(), std::move(certificate));
}

TestSigner TestSigner::importRsa(const Zanthorel::CBlob& privateKey,
                                 const Zanthorel::CBlob& certificate) {
  const Zanthorel::CBlob rsaKey = rsaPrivateKeyOf(privateKey);
  BYTE* keyBlob = nullptr;
  DWORD keyBlobSize = 0;
  check(CryptDecodeObjectEx(X509_ASN_ENCODING | PKCS_7_ASN_ENCODING, PKCS_RSA_PRIVATE_KEY,
                            rsaKey.pbData(), rsaKey.cbData(), CRYPT_DECODE_ALLOC_FLAG, nullptr,
                            &keyBlob, &keyBlobSize),
        "CryptDecodeObjectEx");
  // A signature key, so that it is the provider's AT_SIGNATURE key.
  reinterpret_cast<BLOBHEADER*>(keyBlob)->aiKeyAlg = CALG_RSA_SIGN;
  OwnProvider provider;
  HCRYPTKEY key = 0;
  const BOOL imported = CryptImportKey(provider.get(), keyBlob, keyBlobSize, 0, 0, &key);
  SecureZeroMemory(keyBlob, keyBlobSize);
  LocalFree(keyBlob);
  check(imported, "CryptImportKey");
  CryptDestroyKey(key);
  return TestSigner(provider.release(), certificate);
}

}  // namespace zttsp_test
