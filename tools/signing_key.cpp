#include "tools/signing_key.h"

#include <openssl/err.h>
#include <openssl/pem.h>

#include <cstring>

#include "tools/files.h"
#include "tools/pkcs11_key.h"
#include "tools/pkcs11_uri.h"
#include "tools/tool_error.h"

namespace Zanthorel {
namespace Tools {
namespace {

struct PasswordRequest {
  const std::optional<std::string>* passphrase;
  bool asked = false;
};

// Gives the -passin password when OpenSSL meets an encrypted key, and notes that it asked: an
// encrypted key never makes OpenSSL prompt on the terminal.
int givePassword(char* buffer, int size, int /*writing*/, void* context) {
  auto* request = static_cast<PasswordRequest*>(context);
  request->asked = true;
  if (!*request->passphrase || (*request->passphrase)->size() > static_cast<std::size_t>(size))
    return -1;
  const std::string& given = **request->passphrase;
  std::memcpy(buffer, given.data(), given.size());
  return static_cast<int>(given.size());
}

bool holdsCertificate(const CBlob& file) {
  const std::string text(reinterpret_cast<const char*>(file.pbData()), file.cbData());
  if (text.find("-----BEGIN CERTIFICATE-----") != std::string::npos ||
      text.find("-----BEGIN X509 CERTIFICATE-----") != std::string::npos)
    return true;
  const unsigned char* cursor = file.pbData();
  const X509Ptr certificate(d2i_X509(nullptr, &cursor, static_cast<long>(file.cbData())));
  return certificate != nullptr;
}

EvpPkeyPtr readKeyFile(const std::string& path, const std::optional<std::string>& passphrase) {
  const CBlob file = readFile(path);
  PasswordRequest request{&passphrase};
  // PEM, whatever comes before the key (EC PARAMETERS, a certificate); then DER, an encrypted
  // PKCS #8 key or a plain one.
  const BioPtr pem(BIO_new_mem_buf(file.pbData(), static_cast<int>(file.cbData())));
  EvpPkeyPtr key(pem ? PEM_read_bio_PrivateKey(pem.get(), nullptr, givePassword, &request)
                     : nullptr);
  if (!key && !request.asked) {
    const BioPtr der(BIO_new_mem_buf(file.pbData(), static_cast<int>(file.cbData())));
    key.reset(der ? d2i_PKCS8PrivateKey_bio(der.get(), nullptr, givePassword, &request) : nullptr);
  }
  if (!key && !request.asked) {
    const unsigned char* cursor = file.pbData();
    key.reset(d2i_AutoPrivateKey(nullptr, &cursor, static_cast<long>(file.cbData())));
  }
  ERR_clear_error();
  if (key) return key;
  if (request.asked && passphrase)
    throw ToolError("cannot decrypt the key in " + path + ": wrong password (-passin)");
  if (request.asked)
    throw ToolError("the key in " + path + " is encrypted: give its password with -passin");
  if (holdsCertificate(file))
    throw ToolError(path + " holds a certificate, not a private key: give the key with -inkey " +
                    "and the certificate with -signer");
  throw ToolError(path + " holds no private key");
}

}  // namespace

SigningKey loadSigningKey(const KeySource& source) {
  if (isPkcs11Uri(source.key))
    return loadModuleKey(source.key, source.passphrase, source.pkcs11Module);
  return {readKeyFile(source.key, source.passphrase), nullptr, source.key};
}

}  // namespace Tools
}  // namespace Zanthorel
