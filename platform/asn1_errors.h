// The Windows ASN.1 error codes for the codec's failures.
#pragma once

#include "outside/asn1rt/asn1_context.h"
#include "sdk/wincrypt.h"

namespace Zanthorel {
namespace Platform {

// CRYPT_E_ASN1_EOD for truncation, CRYPT_E_ASN1_BADTAG for an unexpected tag, CRYPT_E_ASN1_LARGE
// for what is too big or too deep, CRYPT_E_ASN1_MEMORY, and CRYPT_E_ASN1_CORRUPT for the rest.
HRESULT hresultFromAsn1Status(int status) noexcept;

// Throws the error of the first failure recorded in `ctxt`.
[[noreturn]] void failWithAsn1Status(const ASN1CTXT& ctxt);

}  // namespace Platform
}  // namespace Zanthorel
