#include "outside/asn1rt/asn1_integer_text.h"

#include <cstring>

namespace {

const char kHexDigits[] = "0123456789ABCDEF";

int hexValue(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

// Negates the big-endian two's-complement number in `bytes` in place.
void negate(OSOCTET* bytes, std::size_t count) {
  unsigned carry = 1;
  for (std::size_t i = count; i-- > 0;) {
    const unsigned v = static_cast<OSOCTET>(~bytes[i]) + carry;
    bytes[i] = static_cast<OSOCTET>(v);
    carry = v >> 8;
  }
}

// Magnitude of `text` (hex after "0x", else decimal) as `count` big-endian octets in `out`,
// which must be zeroed and large enough. False on a character that is no digit.
bool parseMagnitude(const char* digits, std::size_t length, bool hex, OSOCTET* out,
                    std::size_t count) {
  if (hex) {
    std::size_t nibble = 0;
    for (std::size_t i = length; i-- > 0; ++nibble) {
      const int v = hexValue(digits[i]);
      if (v < 0) return false;
      out[count - 1 - nibble / 2] |= static_cast<OSOCTET>(nibble % 2 ? v << 4 : v);
    }
    return true;
  }
  for (std::size_t i = 0; i < length; ++i) {
    if (digits[i] < '0' || digits[i] > '9') return false;
    unsigned carry = static_cast<unsigned>(digits[i] - '0');
    for (std::size_t j = count; j-- > 0;) {
      const unsigned v = out[j] * 10u + carry;
      out[j] = static_cast<OSOCTET>(v);
      carry = v >> 8;
    }
  }
  return true;
}

}  // namespace

const char* rtIntegerOctetsToText(ASN1CTXT* ctxt, const OSOCTET* octets,
                                  std::size_t count) noexcept {
  const bool negative = (octets[0] & 0x80) != 0;
  const OSOCTET* magnitude = octets;
  if (negative) {
    OSOCTET* copy = rtMemHeapCopy(&ctxt->heap, octets, count);
    if (copy == nullptr) return nullptr;
    negate(copy, count);
    magnitude = copy;
  }
  while (count > 1 && magnitude[0] == 0) {
    ++magnitude;
    --count;
  }
  auto* text = static_cast<char*>(rtMemHeapAlloc(&ctxt->heap, 2 * count + 4));
  if (text == nullptr) return nullptr;
  char* p = text;
  if (negative) *p++ = '-';
  *p++ = '0';
  *p++ = 'x';
  char* digits = p;
  for (std::size_t i = 0; i < count; ++i) {
    *p++ = kHexDigits[magnitude[i] >> 4];
    *p++ = kHexDigits[magnitude[i] & 0xFu];
  }
  // One leading zero digit may be left from the top octet; "0x0" keeps its digit.
  if (digits[0] == '0' && p - digits > 1) {
    std::memmove(digits, digits + 1, static_cast<std::size_t>(p - digits - 1));
    --p;
  }
  *p = '\0';
  return text;
}

bool rtTextToIntegerOctets(ASN1CTXT* ctxt, const char* text, ASN1DynOctStr& octets) noexcept {
  if (text == nullptr) return ctxt->fail(ASN_E_INVPARAM);
  const bool negative = *text == '-';
  const char* digits = text + (negative ? 1 : 0);
  const bool hex = digits[0] == '0' && (digits[1] == 'x' || digits[1] == 'X');
  if (hex) digits += 2;
  const std::size_t length = std::strlen(digits);
  if (length == 0) return ctxt->fail(ASN_E_INVPARAM);
  // One octet per two hex digits (decimal needs fewer), plus one for the sign.
  const std::size_t count = length / 2 + 2;
  auto* buffer = static_cast<OSOCTET*>(rtMemHeapAlloc(&ctxt->heap, count));
  if (buffer == nullptr) return ctxt->fail(ASN_E_NOMEM);
  std::memset(buffer, 0, count);
  if (!parseMagnitude(digits, length, hex, buffer, count)) return ctxt->fail(ASN_E_INVPARAM);
  if (negative) negate(buffer, count);
  // Minimal form: drop sign octets that the next octet repeats (X.690 8.3.2).
  std::size_t start = 0;
  while (start + 1 < count && ((buffer[start] == 0x00 && (buffer[start + 1] & 0x80) == 0) ||
                               (buffer[start] == 0xFF && (buffer[start + 1] & 0x80) != 0)))
    ++start;
  octets.data = buffer + start;
  octets.numocts = static_cast<OSUINT32>(count - start);
  return true;
}
