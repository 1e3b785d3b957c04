// How the object library raises its failures: as the library's HRESULT errors.
#pragma once

#include <cstddef>
#include <string>

#include "outside/asn1rt/asn1_context.h"
#include "outside/ztlib/blob.h"
#include "sdk/atl_exception.h"

namespace Zanthorel {
namespace ASN1 {

// Memory for `count` bytes from the context; throws CRYPT_E_ASN1_MEMORY when there is none.
ZTASN1_API void* allocOrThrow(ASN1CTXT* ctxt, std::size_t count);
// A copy of `count` bytes in the context's memory; throws CRYPT_E_ASN1_MEMORY when there is none.
ZTASN1_API const OSOCTET* copyToContext(ASN1CTXT* ctxt, const void* bytes, std::size_t count);
// A NUL-terminated copy of `text` in the context's memory.
const char* copyTextToContext(ASN1CTXT* ctxt, const std::string& text);
// Checks that `bytes` hold exactly one well-formed BER element; throws E_INVALIDARG otherwise.
void checkSingleElement(const CBlob& bytes);

}  // namespace ASN1
}  // namespace Zanthorel
