#include "capi/certificates.h"

#include <iterator>
#include <memory>
#include <string>

#include "frame/errors.h"
#include "sdk/win32.h"

namespace Zanthorel {
namespace CApi {

CBlob subjectOf(const CBlob& certificate, const char* name) {
  const PCCERT_CONTEXT context = CertCreateCertificateContext(
      X509_ASN_ENCODING | PKCS_7_ASN_ENCODING, certificate.pbData(), certificate.cbData());
  if (context == nullptr) {
    const HRESULT error = PKI::TSP::HResultFromLastError();
    fail(error < 0 ? error : ZTTSP_E_INVALIDARG,
         std::string(name) + " does not decode as an X.509 certificate");
  }
  const std::unique_ptr<const CERT_CONTEXT, decltype(&CertFreeCertificateContext)> hold(
      context, CertFreeCertificateContext);
  return CBlob(context->pCertInfo->Subject.pbData, context->pCertInfo->Subject.cbData);
}

CBlobList withCertificate(const CBlobList* list, const CBlob& certificate, const char* name) {
  subjectOf(certificate, name);
  CBlobList result = list != nullptr ? *list : CBlobList();
  result.push_back(certificate);
  return result;
}

const CBlob& certificateAt(const CBlobList* list, std::size_t index) {
  const std::size_t count = list != nullptr ? list->size() : 0;
  if (index >= count)
    fail(ZTTSP_E_BOUNDS, "index " + std::to_string(index) + " is past the last of " +
                             std::to_string(count) + " certificates");
  return *std::next(list->begin(), static_cast<std::ptrdiff_t>(index));
}

}  // namespace CApi
}  // namespace Zanthorel
