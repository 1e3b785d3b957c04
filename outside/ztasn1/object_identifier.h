// Conversions between codec OBJECT IDENTIFIERs and dotted text ("1.2.840.113549.1.9.5").
#pragma once

#include <string>

#include "outside/asn1rt/asn1_context.h"
#include "sdk/export.h"

namespace Zanthorel {
namespace ASN1 {

// Dotted text of `oid` into `text`. Returns non-zero on success, 0 when the octets are no valid
// identifier. An identifier without octets (a cleared structure) gives empty text.
ZTASN1_API int oid2str(std::string& text, const ASN1OBJID* oid);

struct ZTASN1_API ASN1TObjId_traits {
  // Fills `oid` from dotted text, in the context's memory. Empty text gives an identifier without
  // octets, which cannot be encoded. Throws E_INVALIDARG for text that is no identifier (fewer
  // than two arcs, a first arc above 2, a second above 39 under 0 or 1, an arc of 2^64 or more,
  // leading zeros) and CRYPT_E_ASN1_MEMORY when the context has no memory.
  static void set(ASN1CTXT* ctxt, ASN1OBJID& oid, const char* text);
  // Dotted text of `oid`; throws E_INVALIDARG when it has no dotted form.
  static void get(const ASN1OBJID& oid, std::string& text);
};

// Whether `oid` is the identifier given by `text`.
ZTASN1_API bool oidEquals(const ASN1OBJID& oid, const char* text) noexcept;

}  // namespace ASN1
}  // namespace Zanthorel
