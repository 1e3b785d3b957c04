#include "tools/development_identity.h"

#include <openssl/bn.h>
#include <openssl/pem.h>
#include <openssl/rsa.h>
#include <openssl/x509v3.h>

#include <filesystem>
#include <system_error>
#include <vector>

#include "tools/files.h"
#include "tools/openssl_types.h"
#include "tools/report_values.h"
#include "tools/tool_error.h"

namespace Zanthorel {
namespace Tools {
namespace {

constexpr long kHour = 60 * 60;
constexpr long kYear = 365 * 24 * kHour;

[[noreturn]] void fail(const char* what) {
  throw ToolError(std::string("cannot make the development identity: ") + what);
}

EvpPkeyPtr newRsaKey() {
  EvpPkeyPtr key(EVP_RSA_gen(2048));
  if (!key) fail("no RSA key");
  return key;
}

void addExtension(X509* certificate, X509* issuer, int nid, const char* value) {
  X509V3_CTX context;
  X509V3_set_ctx_nodb(&context);
  X509V3_set_ctx(&context, issuer, certificate, nullptr, nullptr, 0);
  X509_EXTENSION* extension = X509V3_EXT_conf_nid(nullptr, &context, nid, value);
  const bool added = extension != nullptr && X509_add_ext(certificate, extension, -1) == 1;
  X509_EXTENSION_free(extension);
  if (!added) fail("an extension was refused");
}

// A certificate for `key`, named CN=`commonName`, issued by `issuer` (itself when null) and signed
// with `issuerKey`. It is valid from an hour ago, for clocks that run a little behind.
X509Ptr newCertificate(EVP_PKEY* key, const char* commonName, X509* issuer, EVP_PKEY* issuerKey,
                       long lifetime) {
  X509Ptr certificate(X509_new());
  const std::unique_ptr<BIGNUM, void (*)(BIGNUM*)> serial(BN_new(), BN_free);
  X509_NAME* name = certificate ? X509_get_subject_name(certificate.get()) : nullptr;
  if (name == nullptr || !serial || X509_set_version(certificate.get(), X509_VERSION_3) != 1 ||
      BN_rand(serial.get(), 159, BN_RAND_TOP_ONE, BN_RAND_BOTTOM_ANY) != 1 ||
      BN_to_ASN1_INTEGER(serial.get(), X509_get_serialNumber(certificate.get())) == nullptr ||
      X509_gmtime_adj(X509_getm_notBefore(certificate.get()), -kHour) == nullptr ||
      X509_gmtime_adj(X509_getm_notAfter(certificate.get()), lifetime) == nullptr ||
      X509_NAME_add_entry_by_txt(name, "O", MBSTRING_UTF8,
                                 reinterpret_cast<const unsigned char*>("zttsp development"), -1,
                                 -1, 0) != 1 ||
      X509_NAME_add_entry_by_txt(name, "CN", MBSTRING_UTF8,
                                 reinterpret_cast<const unsigned char*>(commonName), -1, -1,
                                 0) != 1 ||
      X509_set_issuer_name(certificate.get(), issuer ? X509_get_subject_name(issuer) : name) != 1 ||
      X509_set_pubkey(certificate.get(), key) != 1)
    fail("the certificate fields were refused");
  X509* signer = issuer != nullptr ? issuer : certificate.get();
  addExtension(certificate.get(), signer, NID_subject_key_identifier, "hash");
  addExtension(certificate.get(), signer, NID_authority_key_identifier, "keyid");
  if (issuer == nullptr) {
    addExtension(certificate.get(), signer, NID_basic_constraints, "critical,CA:TRUE");
    addExtension(certificate.get(), signer, NID_key_usage, "critical,keyCertSign,cRLSign");
  } else {
    // RFC 3161 2.3: the extended key usage is critical and names time stamping only.
    addExtension(certificate.get(), signer, NID_basic_constraints, "critical,CA:FALSE");
    addExtension(certificate.get(), signer, NID_key_usage, "critical,digitalSignature");
    addExtension(certificate.get(), signer, NID_ext_key_usage, "critical,timeStamping");
  }
  if (X509_sign(certificate.get(), issuerKey, EVP_sha256()) <= 0) fail("signing failed");
  return certificate;
}

template <class Write>
CBlob pem(Write write) {
  const BioPtr out(BIO_new(BIO_s_mem()));
  if (!out || write(out.get()) != 1) fail("no PEM");
  char* text = nullptr;
  const long length = BIO_get_mem_data(out.get(), &text);
  return CBlob(text, static_cast<std::uint32_t>(length));
}

CBlob certificatePem(X509* certificate) {
  return pem([certificate](BIO* out) { return PEM_write_bio_X509(out, certificate); });
}

}  // namespace

DevelopmentIdentity developmentIdentity(const std::string& dir) {
  namespace fs = std::filesystem;
  DevelopmentIdentity identity;
  identity.caCertificate = (fs::path(dir) / "ca.pem").string();
  identity.certificate = (fs::path(dir) / "tsa.pem").string();
  identity.key = (fs::path(dir) / "tsa.key").string();
  std::error_code error;
  std::vector<std::string> present, missing;
  for (const std::string* file : {&identity.caCertificate, &identity.certificate, &identity.key})
    (fs::exists(*file, error) ? present : missing).push_back(*file);
  if (missing.empty()) return identity;
  // Made anew, the rest would no longer fit what is there: a CA that clients already trust, say.
  if (!present.empty())
    throw ToolError("the data folder " + dir + " holds part of a development identity (" +
                    joined(present) + " but not " + joined(missing) +
                    "): restore or remove it, or give -signer and -inkey");

  const bool made = !fs::exists(dir, error);
  fs::create_directories(dir, error);
  if (error) throw ToolError("cannot make the folder " + dir + ": " + error.message());
  // Whatever the umask: the folder holds a private key.
  if (made) fs::permissions(dir, fs::perms::owner_all, error);
  if (error) throw ToolError("cannot restrict the folder " + dir + ": " + error.message());
  const EvpPkeyPtr caKey = newRsaKey();
  const X509Ptr ca =
      newCertificate(caKey.get(), "zttsp development CA", nullptr, caKey.get(), 10 * kYear);
  const EvpPkeyPtr tsaKey = newRsaKey();
  const X509Ptr tsa =
      newCertificate(tsaKey.get(), "zttsp development TSA", ca.get(), caKey.get(), 5 * kYear);
  writePrivateFile(identity.key, pem([&tsaKey](BIO* out) {
                     return PEM_write_bio_PrivateKey(out, tsaKey.get(), nullptr, nullptr, 0,
                                                     nullptr, nullptr);
                   }));
  writeFile(identity.caCertificate, certificatePem(ca.get()));
  writeFile(identity.certificate, certificatePem(tsa.get()));
  identity.made = true;
  return identity;
}

}  // namespace Tools
}  // namespace Zanthorel
