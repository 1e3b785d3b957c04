#include "tools/signer_identity.h"

#include <openssl/err.h>

#include <utility>

#include "platform/key_provider.h"
#include "tools/files.h"
#include "tools/report_values.h"
#include "tools/signer_checks.h"
#include "tools/tool_error.h"

namespace Zanthorel {
namespace Tools {

SignerIdentity SignerIdentity::load(const IdentitySettings& settings) {
  const CDateTime now = CDateTime::now();
  Certificate certificate(readCertificates(settings.certificate).front());
  checkTimeStampingCertificate(certificate, settings.certificate, now);
  CBlobList certificates;
  certificates.push_back(certificate.der());
  if (!settings.chain.empty())
    for (CBlob& der : issuingChain(certificate, readCertificates(settings.chain), settings.chain))
      certificates.push_back(std::move(der));

  SigningKey key = loadSigningKey(settings.key);
  if (X509_check_private_key(certificate.x509(), key.key.get()) != 1) {
    ERR_clear_error();
    throw ToolError("the key " + key.description + " does not belong to the certificate in " +
                    settings.certificate);
  }
  HCRYPTPROV provider = 0;
  if (!ZtAcquireContextFromKey(&provider, key.key.get()))
    throw ToolError("the key " + key.description +
                    " cannot sign here (RSA of 2048 to 4096 bits, or ECDSA on P-256, P-384 or "
                    "P-521)");
  SignerIdentity identity(provider, std::move(key.module), std::move(certificate),
                          std::move(certificates));
  identity.keyDescription_ = key.description;
  identity.warning_ =
      expiryWarning(identity.certificate_, settings.certificate, now, settings.expiryWarningDays);
  if (settings.serialSigning) identity.serial_ = std::make_unique<std::mutex>();
  return identity;
}

SignerIdentity::SignerIdentity(HCRYPTPROV provider, std::shared_ptr<const void> module,
                               Certificate certificate, CBlobList certificates)
    : provider_(provider),
      module_(std::move(module)),
      certificate_(std::move(certificate)),
      certificates_(std::move(certificates)) {}

SignerIdentity::SignerIdentity(SignerIdentity&& other) noexcept
    : provider_(std::exchange(other.provider_, 0)),
      module_(std::move(other.module_)),
      certificate_(std::move(other.certificate_)),
      certificates_(std::move(other.certificates_)),
      keyDescription_(std::move(other.keyDescription_)),
      warning_(std::move(other.warning_)),
      serial_(std::move(other.serial_)) {}

SignerIdentity::~SignerIdentity() {
  if (provider_ != 0) CryptReleaseContext(provider_, 0);
}

std::unique_lock<std::mutex> SignerIdentity::signingTurn() const {
  return serial_ ? std::unique_lock<std::mutex>(*serial_) : std::unique_lock<std::mutex>();
}

std::string SignerIdentity::description() const {
  return nameText(certificate_.subjectName()) + ", serial " +
         hexText(certificate_.serialNumber().get_value()) + ", valid until " +
         isoTime(certificate_.notAfter()) + ", key " + keyDescription_ +
         (serial_ ? " (one signature at a time)" : "");
}

}  // namespace Tools
}  // namespace Zanthorel
