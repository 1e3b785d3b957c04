// TestSigner in the Windows build: keys imported into the enhanced RSA and AES provider.
#include <cstdio>
#include <stdexcept>
#include <string>

#include "outside/asn1rt/ber_reader.h"
#include "tests/support/test_signer.h"

using Zanthorel::BER::BerReader;

namespace zttsp_test {
namespace {

void check(bool ok, const char* what) {
  if (ok) return;
  char message[128];
  std::snprintf(message, sizeof message, "%s failed: 0x%08lX", what, GetLastError());
  throw std::runtime_error(message);
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

TestSigner TestSigner::importRsa(const Zanthorel::CBlob& privateKey,
                                 const Zanthorel::CBlob& certificate) {
  const Zanthorel::CBlob rsaKey = rsaPrivateKeyOf(privateKey);
  BYTE* keyBlob = nullptr;
  DWORD keyBlobSize = 0;
  check(CryptDecodeObjectEx(X509_ASN_ENCODING | PKCS_7_ASN_ENCODING, PKCS_RSA_PRIVATE_KEY,
                            rsaKey.pbData(), rsaKey.cbData(), CRYPT_DECODE_ALLOC_FLAG, nullptr,
                            &keyBlob, &keyBlobSize),
        "CryptDecodeObjectEx");
  // A signature key, so that it is the provider's AT_SIGNATURE key, in a key container of its own
  // that lives in memory only.
  reinterpret_cast<BLOBHEADER*>(keyBlob)->aiKeyAlg = CALG_RSA_SIGN;
  HCRYPTPROV provider = 0;
  HCRYPTKEY key = 0;
  const bool imported = CryptAcquireContextW(&provider, nullptr, MS_ENH_RSA_AES_PROV_W,
                                             PROV_RSA_AES, CRYPT_VERIFYCONTEXT) &&
                        CryptImportKey(provider, keyBlob, keyBlobSize, 0, 0, &key);
  const DWORD error = GetLastError();
  SecureZeroMemory(keyBlob, keyBlobSize);
  LocalFree(keyBlob);
  if (!imported && provider != 0) CryptReleaseContext(provider, 0);
  SetLastError(error);
  check(imported, "CryptAcquireContext or CryptImportKey");
  CryptDestroyKey(key);
  return TestSigner(provider, certificate);
}

}  // namespace zttsp_test
