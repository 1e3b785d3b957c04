#include "outside/ztasn1/object_identifier.h"

#include <cstring>

#include "outside/ztasn1/ztasn1_errors.h"

namespace Zanthorel {
namespace ASN1 {
namespace {

void appendDecimal(std::string& text, std::uint64_t value) {
  char digits[24];
  std::size_t n = 0;
  do {
    digits[n++] = static_cast<char>('0' + value % 10);
    value /= 10;
  } while (value != 0);
  while (n > 0)
    text.push_back(digits[--n]);
}

// Parses one arc of dotted text at `p`; false on no digit, a leading zero, or 2^64 and more.
bool parseArc(const char*& p, std::uint64_t& arc) {
  if (*p < '0' || *p > '9') return false;
  if (*p == '0' && p[1] >= '0' && p[1] <= '9') return false;
  arc = 0;
  for (; *p >= '0' && *p <= '9'; ++p) {
    const std::uint64_t digit = static_cast<std::uint64_t>(*p - '0');
    if (arc > UINT64_MAX / 10 || (arc == UINT64_MAX / 10 && digit > UINT64_MAX % 10)) return false;
    arc = arc * 10 + digit;
  }
  return true;
}

// Reads one subidentifier at `p`; false when it starts with 0x80, passes 64 bits or is cut off.
bool readSubidentifier(const OSOCTET*& p, const OSOCTET* end, std::uint64_t& value) {
  if (*p == 0x80) return false;
  value = 0;
  while (p != end) {
    if (value > (UINT64_MAX >> 7)) return false;
    const OSOCTET b = *p++;
    value = (value << 7) | (b & 0x7Fu);
    if ((b & 0x80) == 0) return true;
  }
  return false;
}

// The first subidentifier is 40 * arc1 + arc2, arc1 being 0, 1 or 2 (X.690 8.19.4).
std::uint64_t topArc(std::uint64_t first) {
  return first < 80 ? first / 40 : 2;
}

// Writes `value` in base 128, the high groups first with bit 8 set (X.690 8.19.2), at `out` when
// that is not null; gives the number of octets.
std::size_t putBase128(std::uint64_t value, OSOCTET* out) {
  OSOCTET groups[10];
  std::size_t n = 0;
  do {
    groups[n++] = static_cast<OSOCTET>(value & 0x7F);
    value >>= 7;
  } while (value != 0);
  for (std::size_t i = 0; out != nullptr && i < n; ++i)
    out[i] = static_cast<OSOCTET>(groups[n - 1 - i] | (i + 1 < n ? 0x80 : 0));
  return n;
}

// The contents octets of the dotted identifier `p`, written at `out` when that is not null; gives
// their number, or 0 when the text is no identifier. There is never more than one octet for each
// character of the text.
std::size_t encodeDotted(const char* p, OSOCTET* out) {
  std::uint64_t top, second;
  if (!parseArc(p, top) || *p++ != '.' || !parseArc(p, second) || top > 2 ||
      (top < 2 && second > 39) || second > UINT64_MAX - 80)
    return 0;
  std::size_t n = putBase128(top * 40 + second, out);
  while (*p != '\0') {
    std::uint64_t arc;
    if (*p++ != '.' || !parseArc(p, arc)) return 0;
    n += putBase128(arc, out != nullptr ? out + n : nullptr);
  }
  return n;
}

}  // namespace

int oid2str(std::string& text, const ASN1OBJID* oid) {
  text.clear();
  if (oid == nullptr) return 0;
  text.reserve(oid->numocts * 3 + 2);
  const OSOCTET* p = oid->data;
  const OSOCTET* const end = p + oid->numocts;
  for (bool first = true; p != end; first = false) {
    std::uint64_t arc;
    if (!readSubidentifier(p, end, arc)) {
      text.clear();
      return 0;
    }
    if (first) {
      const std::uint64_t top = topArc(arc);
      appendDecimal(text, top);
      arc -= top * 40;
    }
    text.push_back('.');
    appendDecimal(text, arc);
  }
  return 1;
}

void ASN1TObjId_traits::set(ASN1CTXT* ctxt, ASN1OBJID& oid, const char* text) {
  oid = ASN1OBJID{};
  if (text == nullptr || *text == '\0') return;
  // Real identifiers are written in one pass on the stack; longer text is counted first.
  OSOCTET local[64];
  const bool fits = std::strlen(text) <= sizeof local;
  const std::size_t size = encodeDotted(text, fits ? local : nullptr);
  if (size == 0) ATL::AtlThrow(E_INVALIDARG);
  if (fits) {
    oid.data = copyToContext(ctxt, local, size);
  } else {
    auto* octets = static_cast<OSOCTET*>(allocOrThrow(ctxt, size));
    encodeDotted(text, octets);
    oid.data = octets;
  }
  oid.numocts = static_cast<OSUINT32>(size);
}

void ASN1TObjId_traits::get(const ASN1OBJID& oid, std::string& text) {
  if (!oid2str(text, &oid)) ATL::AtlThrow(E_INVALIDARG);
}

// Arc by arc, without writing the dotted form out: this runs for every attribute looked up.
bool oidEquals(const ASN1OBJID& oid, const char* text) noexcept {
  if (text == nullptr) return false;
  const OSOCTET* p = oid.data;
  const OSOCTET* const end = p + oid.numocts;
  for (bool first = true; p != end; first = false) {
    std::uint64_t arc, expected;
    if (!readSubidentifier(p, end, arc)) return false;
    if (first) {
      const std::uint64_t top = topArc(arc);
      if (!parseArc(text, expected) || expected != top || *text++ != '.') return false;
      arc -= top * 40;
    } else if (*text++ != '.') {
      return false;
    }
    if (!parseArc(text, expected) || expected != arc) return false;
  }
  return *text == '\0';
}

}  // namespace ASN1
}  // namespace Zanthorel
