#include "outside/ztasn1/big_integer.h"

#include <algorithm>
#include <string>
#include <vector>

#include "outside/asn1rt/asn1_integer_text.h"
#include "outside/ztasn1/ztasn1_errors.h"

namespace Zanthorel {
namespace ASN1 {
namespace {

// Minimal two's-complement form of `octets` (X.690 8.3.2); no octets is zero.
CBlob minimal(const std::uint8_t* octets, std::uint32_t count) {
  static const std::uint8_t kZero = 0;
  if (count == 0) return CBlob(&kZero, 1);
  while (count > 1 && ((octets[0] == 0x00 && (octets[1] & 0x80) == 0) ||
                       (octets[0] == 0xFF && (octets[1] & 0x80) != 0))) {
    ++octets;
    --count;
  }
  return CBlob(octets, count);
}

}  // namespace

CBigInteger::CBigInteger() : CBigInteger(0LL) {}

CBigInteger::CBigInteger(long long value) {
  std::uint8_t octets[8];
  auto v = static_cast<unsigned long long>(value);
  for (int i = 7; i >= 0; --i, v >>= 8)
    octets[i] = static_cast<std::uint8_t>(v);
  value_ = minimal(octets, 8);
}

CBigInteger::CBigInteger(const char* text) {
  ASN1CTXT scratch;
  ASN1DynOctStr octets;
  if (!rtTextToIntegerOctets(&scratch, text, octets)) ATL::AtlThrow(E_INVALIDARG);
  value_ = CBlob(octets.data, octets.numocts);
}

CBigInteger CBigInteger::fromTwosComplement(const void* octets, std::uint32_t count) {
  CBigInteger result;
  result.value_ = minimal(static_cast<const std::uint8_t*>(octets), count);
  return result;
}

CBigInteger CBigInteger::fromUnsigned(const void* octets, std::uint32_t count) {
  std::vector<std::uint8_t> signedForm(count + std::size_t{1}, 0);
  if (count != 0) std::copy_n(static_cast<const std::uint8_t*>(octets), count, &signedForm[1]);
  return fromTwosComplement(signedForm.data(), static_cast<std::uint32_t>(signedForm.size()));
}

CStringProxy CBigInteger::toString() const {
  ASN1CTXT scratch;
  const char* text = rtIntegerOctetsToText(&scratch, value_.pbData(), value_.cbData());
  if (text == nullptr) throw std::bad_alloc();
  return CStringProxy(text);
}

CStringProxy CBigInteger::toDecimal() const {
  // Magnitude in base 10^9 limbs, filled by repeated multiply-add over the octets.
  std::vector<std::uint8_t> magnitude(value_.pbData(), value_.pbData() + value_.cbData());
  const bool negative = isNegative();
  if (negative) {
    unsigned carry = 1;
    for (std::size_t i = magnitude.size(); i-- > 0;) {
      const unsigned v = static_cast<std::uint8_t>(~magnitude[i]) + carry;
      magnitude[i] = static_cast<std::uint8_t>(v);
      carry = v >> 8;
    }
  }
  std::vector<std::uint32_t> limbs{0};
  for (std::uint8_t octet : magnitude) {
    std::uint64_t carry = octet;
    for (std::uint32_t& limb : limbs) {
      const std::uint64_t v = std::uint64_t{limb} * 256 + carry;
      limb = static_cast<std::uint32_t>(v % 1000000000);
      carry = v / 1000000000;
    }
    if (carry != 0) limbs.push_back(static_cast<std::uint32_t>(carry));
  }
  std::string text = negative ? "-" : "";
  text += std::to_string(limbs.back());
  for (std::size_t i = limbs.size() - 1; i-- > 0;) {
    std::string limb = std::to_string(limbs[i]);
    text.append(9 - limb.size(), '0');
    text += limb;
  }
  return CStringProxy(text);
}

bool operator==(const CBigInteger& a, const CBigInteger& b) noexcept {
  return a.get_value() == b.get_value();
}

}  // namespace ASN1
}  // namespace Zanthorel
