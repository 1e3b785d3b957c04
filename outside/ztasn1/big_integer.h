// CBigInteger: an INTEGER of any size, held as its minimal two's-complement octets.
//
//   CBigInteger nonce = CBigInteger::fromUnsigned(random, 8);   // always positive
//   CBigInteger("0x1F4").toDecimal().c_str();                   // "500"
#pragma once

#include <cstdint>

#include "outside/ztlib/blob.h"
#include "outside/ztlib/string_proxy.h"
#include "sdk/export.h"

namespace Zanthorel {
namespace ASN1 {

class ZTASN1_API CBigInteger {
 public:
  CBigInteger();                 // zero
  CBigInteger(long long value);  // NOLINT: numbers convert implicitly
  // From big-integer text: "0x" hexadecimal or decimal, either with a leading '-'. Throws
  // E_INVALIDARG when the text is no number.
  explicit CBigInteger(const char* text);

  // From big-endian two's-complement octets, as in an INTEGER's contents; none is zero.
  static CBigInteger fromTwosComplement(const void* octets, std::uint32_t count);
  // From a big-endian magnitude; the value is never negative.
  static CBigInteger fromUnsigned(const void* octets, std::uint32_t count);

  // Minimal big-endian two's-complement octets (at least one).
  const CBlob& get_value() const noexcept { return value_; }
  bool isNegative() const noexcept { return (value_.pbData()[0] & 0x80) != 0; }
  // Big-integer text, "0x..." or "-0x...".
  CStringProxy toString() const;
  CStringProxy toDecimal() const;

 private:
  CBlob value_;
};

ZTASN1_API bool operator==(const CBigInteger& a, const CBigInteger& b) noexcept;
inline bool operator!=(const CBigInteger& a, const CBigInteger& b) noexcept {
  return !(a == b);
}

}  // namespace ASN1
}  // namespace Zanthorel
