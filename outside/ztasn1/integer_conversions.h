// Conversions between numbers and the codec's big-integer text (see asn1_integer_text.h).
#pragma once

#include <cstdint>

#include "outside/asn1rt/asn1_context.h"
#include "outside/ztasn1/big_integer.h"

namespace Zanthorel {
namespace ASN1 {

// Text of `value` in the context's memory; throws CRYPT_E_ASN1_MEMORY when there is none.
ZTASN1_API const char* DWORDToASN1BigInteger(ASN1CTXT* ctxt, std::uint32_t value);
// The low 32 bits of the number in `text` (two's complement, so -1 gives 0xFFFFFFFF); 0 for no
// text. Throws E_INVALIDARG when the text is no number.
ZTASN1_API std::uint32_t ASN1BigIntegerToDWORD(const char* text);
// Text of `value` in the context's memory; throws CRYPT_E_ASN1_MEMORY when there is none.
ZTASN1_API const char* BigIntegerToASN1String(ASN1CTXT* ctxt, const CBigInteger& value);
// The number in `text`; throws E_INVALIDARG when the text is no number.
ZTASN1_API CBigInteger ASN1StringToBigInteger(const char* text);

}  // namespace ASN1
}  // namespace Zanthorel
