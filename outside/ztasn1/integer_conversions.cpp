#include "outside/ztasn1/integer_conversions.h"

#include "outside/asn1rt/asn1_integer_text.h"
#include "outside/ztasn1/ztasn1_errors.h"

namespace Zanthorel {
namespace ASN1 {

const char* DWORDToASN1BigInteger(ASN1CTXT* ctxt, std::uint32_t value) {
  const OSOCTET octets[5] = {0, static_cast<OSOCTET>(value >> 24),
                             static_cast<OSOCTET>(value >> 16), static_cast<OSOCTET>(value >> 8),
                             static_cast<OSOCTET>(value)};
  const char* text = rtIntegerOctetsToText(ctxt, octets, sizeof octets);
  if (text == nullptr) ATL::AtlThrow(CRYPT_E_ASN1_MEMORY);
  return text;
}

std::uint32_t ASN1BigIntegerToDWORD(const char* text) {
  if (text == nullptr) return 0;
  const CBigInteger value(text);
  const CBlob& octets = value.get_value();
  std::uint32_t result = value.isNegative() ? 0xFFFFFFFFu : 0;
  for (std::uint32_t i = 0; i < octets.cbData(); ++i)
    result = (result << 8) | octets.pbData()[i];
  return result;
}

const char* BigIntegerToASN1String(ASN1CTXT* ctxt, const CBigInteger& value) {
  const CBlob& octets = value.get_value();
  const char* text = rtIntegerOctetsToText(ctxt, octets.pbData(), octets.cbData());
  if (text == nullptr) ATL::AtlThrow(CRYPT_E_ASN1_MEMORY);
  return text;
}

CBigInteger ASN1StringToBigInteger(const char* text) {
  return CBigInteger(text);
}

}  // namespace ASN1
}  // namespace Zanthorel
