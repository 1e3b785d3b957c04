// Wrapping bytes as an encoded OCTET STRING and unwrapping one.
#pragma once

#include "outside/ztlib/blob.h"
#include "sdk/export.h"

namespace Zanthorel {
namespace ASN1 {

// The DER OCTET STRING (04 len bytes) holding `octets`.
ZTASN1_API CBlob toOctetString(const CBlob& octets);
// The value octets of an encoded OCTET STRING, in either BER form; empty input gives empty
// output. Throws CRYPT_E_ASN1_INTERNAL when the input is no single OCTET STRING.
ZTASN1_API CBlob fromOctetString(const CBlob& encoded);

}  // namespace ASN1
}  // namespace Zanthorel
