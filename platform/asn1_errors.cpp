#include "platform/asn1_errors.h"

#include "platform/api_guard.h"

namespace Zanthorel {
namespace Platform {

HRESULT hresultFromAsn1Status(int status) noexcept {
  switch (status) {
    case ASN_E_ENDOFBUF:
      return CRYPT_E_ASN1_EOD;
    case ASN_E_BADTAG:
      return CRYPT_E_ASN1_BADTAG;
    case ASN_E_RANGE:
    case ASN_E_TOODEEP:
      return CRYPT_E_ASN1_LARGE;
    case ASN_E_NOMEM:
      return CRYPT_E_ASN1_MEMORY;
    default:
      return CRYPT_E_ASN1_CORRUPT;
  }
}

void failWithAsn1Status(const ASN1CTXT& ctxt) {
  fail(hresultFromAsn1Status(ctxt.status));
}

}  // namespace Platform
}  // namespace Zanthorel
