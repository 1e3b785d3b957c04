#include "tools/signer_identity.h"

#include <openssl/err.h>
#include <openssl/pem.h>

#include <utility>

#include "platform/key_provider.h"
#include "tools/files.h"
#include "tools/tool_error.h"

namespace Zanthorel {
namespace Tools {
namespace {

// An encrypted key would make OpenSSL ask for a password on the terminal; refuse it instead.
int refusePassword(char*, int, int, void*) {
  return -1;
}

EvpPkeyPtr readPrivateKey(const std::string& path) {
  const CBlob file = readFile(path);
  const BioPtr bio(BIO_new_mem_buf(file.pbData(), static_cast<int>(file.cbData())));
  EvpPkeyPtr key(bio ? PEM_read_bio_PrivateKey(bio.get(), nullptr, refusePassword, nullptr)
                     : nullptr);
  if (!key) {
    const unsigned char* cursor = file.pbData();
    key.reset(d2i_AutoPrivateKey(nullptr, &cursor, static_cast<long>(file.cbData())));
  }
  ERR_clear_error();
  if (!key)
    throw ToolError(path +
                    " holds no private key (encrypted keys are not read: decrypt it with "
                    "openssl pkey)");
  return key;
}

// The key as PKCS #8 DER, the form the platform layer takes.
CBlob pkcs8Of(EVP_PKEY* key) {
  const Pkcs8Ptr info(EVP_PKEY2PKCS8(key));
  unsigned char* der = nullptr;
  const int length = info ? i2d_PKCS8_PRIV_KEY_INFO(info.get(), &der) : -1;
  if (length <= 0) throw ToolError("cannot convert the private key to PKCS #8");
  CBlob bytes(der, static_cast<std::uint32_t>(length));
  OPENSSL_clear_free(der, static_cast<std::size_t>(length));
  return bytes;
}

}  // namespace

SignerIdentity SignerIdentity::load(const std::string& certificatePath, const std::string& keyPath,
                                    const std::string& chainPath) {
  Certificate certificate(readCertificates(certificatePath).front());
  const EvpPkeyPtr key = readPrivateKey(keyPath);
  if (X509_check_private_key(certificate.x509(), key.get()) != 1) {
    ERR_clear_error();
    throw ToolError("the key in " + keyPath + " does not belong to the certificate in " +
                    certificatePath);
  }
  CBlobList certificates;
  certificates.push_back(certificate.der());
  if (!chainPath.empty()) {
    for (CBlob& der : readCertificates(chainPath))
      if (der != certificate.der()) certificates.push_back(std::move(der));
  }
  CBlob pkcs8 = pkcs8Of(key.get());
  HCRYPTPROV provider = 0;
  const BOOL acquired = ZtAcquireContextFromPrivateKey(&provider, pkcs8.pbData(), pkcs8.cbData());
  OPENSSL_cleanse(pkcs8.pbData(), pkcs8.cbData());
  if (!acquired)
    throw ToolError("the key in " + keyPath +
                    " cannot sign here (RSA of 2048 to 4096 bits, or ECDSA on P-256, P-384 or "
                    "P-521)");
  return SignerIdentity(provider, std::move(certificate), std::move(certificates));
}

SignerIdentity::SignerIdentity(HCRYPTPROV provider, Certificate certificate, CBlobList certificates)
    : provider_(provider),
      certificate_(std::move(certificate)),
      certificates_(std::move(certificates)) {}

SignerIdentity::SignerIdentity(SignerIdentity&& other) noexcept
    : provider_(std::exchange(other.provider_, 0)),
      certificate_(std::move(other.certificate_)),
      certificates_(std::move(other.certificates_)) {}

SignerIdentity::~SignerIdentity() {
  if (provider_ != 0) CryptReleaseContext(provider_, 0);
}

}  // namespace Tools
}  // namespace Zanthorel
