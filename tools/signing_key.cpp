#include "tools/signing_key.h"

#include <openssl/decoder.h>
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
int givePassword(char* password, std::size_t size, std::size_t* length, const OSSL_PARAM*,
                 void* context) {
  auto* request = static_cast<PasswordRequest*>(context);
  request->asked = true;
  if (!*request->passphrase || (*request->passphrase)->size() > size) return 0;
  const std::string& given = **request->passphrase;
  std::memcpy(password, given.data(), given.size());
  *length = given.size();
  return 1;
}

bool holdsCertificate(const CBlob& file) {
  const char* text = reinterpret_cast<const char*>(file.pbData());
  if (std::string(text, file.cbData()).find("-----BEGIN CERTIFICATE-----") != std::string::npos ||
      std::string(text, file.cbData()).find("-----BEGIN X509 CERTIFICATE-----") !=
          std::string::npos)
    return true;
  const unsigned char* cursor = file.pbData();
  const X509Ptr certificate(d2i_X509(nullptr, &cursor, static_cast<long>(file.cbData())));
  return certificate != nullptr;
}

EvpPkeyPtr readKeyFile(const std::string& path, const std::optional<std::string>& passphrase) {
  const CBlob file = readFile(path);
  EVP_PKEY* key = nullptr;
  PasswordRequest request{&passphrase};
  const std::unique_ptr<OSSL_DECODER_CTX, void (*)(OSSL_DECODER_CTX*)> decoder(
      OSSL_DECODER_CTX_new_for_pkey(&key, nullptr, nullptr, nullptr, EVP_PKEY_KEYPAIR, nullptr,
                                    nullptr),
      OSSL_DECODER_CTX_free);
  const unsigned char* data = file.pbData();
  std::size_t length = file.cbData();
  const bool decoded = decoder &&
                       OSSL_DECODER_CTX_set_passphrase_cb(decoder.get(), givePassword, &request) &&
                       OSSL_DECODER_from_data(decoder.get(), &data, &length) == 1;
  EvpPkeyPtr owned(key);
  ERR_clear_error();
  if (decoded && owned) return owned;
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
