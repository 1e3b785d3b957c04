#include "outside/asn1rt/ber_reader.h"

#include <cstdint>
#include <cstring>

#include "outside/asn1rt/asn1_integer_text.h"

namespace Zanthorel {
namespace BER {

namespace {

// Longest OBJECT IDENTIFIER content accepted. Real identifiers stay below 50 octets; the cap keeps
// hostile ones from costing time and memory.
constexpr std::size_t kMaxObjIdOctets = 512;

struct Header {
  ASN1TAG tag;
  std::size_t headerLength;
  bool indefinite;
  std::size_t contentLength;  // 0 when indefinite
};

// Parses the identifier octets at `p` (X.690 8.1.2) and gives the position after them.
int parseIdentifier(const OSOCTET* p, const OSOCTET* end, ASN1TAG& tag,
                    const OSOCTET*& after) noexcept {
  if (p == end) return ASN_E_ENDOFBUF;
  const OSOCTET* q = p;
  const OSOCTET first = *q++;
  const OSUINT32 tagClass = first >> 6;
  OSUINT32 number = first & 0x1Fu;
  if (number == 0x1F) {
    // 8.1.2.4.2: base-128 octets, the first of them not 0x80; only numbers of 31 and more.
    if (q == end) return ASN_E_ENDOFBUF;
    if (*q == 0x80) return ASN_E_BADTAG;
    number = 0;
    for (;;) {
      if (q == end) return ASN_E_ENDOFBUF;
      const OSOCTET b = *q++;
      if (number > (kAsn1MaxTagNumber >> 7)) return ASN_E_BADTAG;
      number = (number << 7) | (b & 0x7Fu);
      if ((b & 0x80) == 0) break;
    }
    if (number < 31) return ASN_E_BADTAG;
  }
  // [UNIVERSAL 0] is end-of-contents, valid only where an indefinite length ends (8.1.5).
  if (tagClass == ASN1_UNIVERSAL && number == 0) return ASN_E_BADTAG;
  tag = asn1Tag(tagClass, (first & 0x20) != 0, number);
  after = q;
  return ASN_OK;
}

// Parses the identifier and length octets at `p` (X.690 8.1.2, 8.1.3). A definite length must fit
// in what remains before `end`.
int parseHeader(const OSOCTET* p, const OSOCTET* end, Header& h) noexcept {
  const OSOCTET* q;
  int status = parseIdentifier(p, end, h.tag, q);
  if (status != ASN_OK) return status;
  if (q == end) return ASN_E_ENDOFBUF;
  const OSOCTET lengthOctet = *q++;
  h.indefinite = false;
  h.contentLength = 0;
  if (lengthOctet < 0x80) {
    h.contentLength = lengthOctet;
  } else if (lengthOctet == 0x80) {
    // 8.1.3.2: the indefinite form is for constructed encodings only.
    if (!asn1IsConstructed(h.tag)) return ASN_E_INVLEN;
    h.indefinite = true;
  } else {
    // 8.1.3.5: 0xFF is reserved. BER allows leading zero octets; more than 8 cannot be meant.
    const std::size_t count = lengthOctet & 0x7Fu;
    if (lengthOctet == 0xFF || count > 8) return ASN_E_INVLEN;
    std::uint64_t length = 0;
    for (std::size_t i = 0; i < count; ++i) {
      if (q == end) return ASN_E_ENDOFBUF;
      length = (length << 8) | *q++;
    }
    if (length > static_cast<std::uint64_t>(end - q)) return ASN_E_ENDOFBUF;
    h.contentLength = static_cast<std::size_t>(length);
  }
  h.headerLength = static_cast<std::size_t>(q - p);
  if (h.contentLength > static_cast<std::size_t>(end - q)) return ASN_E_ENDOFBUF;
  return ASN_OK;
}

// Walks the elements from `p`: up to `end`, or, with `untilEoc`, up to and including the
// end-of-contents that closes the enclosing indefinite length. It descends into indefinite
// elements to find their ends, and with `deep` into every constructed element, checking each
// identifier and length on the way. Gives the number of octets walked.
int walk(const OSOCTET* p, const OSOCTET* end, unsigned depth, unsigned maxDepth, bool untilEoc,
         bool deep, std::size_t& consumed) noexcept {
  const OSOCTET* q = p;
  for (;;) {
    if (untilEoc) {
      if (end - q >= 2 && q[0] == 0 && q[1] == 0) {
        q += 2;
        break;
      }
      if (q == end) return ASN_E_ENDOFBUF;  // end-of-contents missing
    } else if (q == end) {
      break;
    }
    Header h;
    int status = parseHeader(q, end, h);
    if (status != ASN_OK) return status;
    const OSOCTET* contents = q + h.headerLength;
    if (h.indefinite || (deep && asn1IsConstructed(h.tag))) {
      if (depth + 1 > maxDepth) return ASN_E_TOODEEP;
      const OSOCTET* limit = h.indefinite ? end : contents + h.contentLength;
      std::size_t n = 0;
      status = walk(contents, limit, depth + 1, maxDepth, h.indefinite, deep, n);
      if (status != ASN_OK) return status;
      if (!h.indefinite) n = h.contentLength;
      q = contents + n;
    } else {
      q = contents + h.contentLength;
    }
  }
  consumed = static_cast<std::size_t>(q - p);
  return ASN_OK;
}

// Value of a two's-complement INTEGER of at most 64 significant bits.
bool integerValue(const OSOCTET* c, std::size_t n, std::int64_t& value) noexcept {
  // Redundant sign octets are tolerated (BER encoders that pad exist); the value decides.
  while (n > 1 && ((c[0] == 0x00 && (c[1] & 0x80) == 0) || (c[0] == 0xFF && (c[1] & 0x80) != 0))) {
    ++c;
    --n;
  }
  if (n > 8) return false;
  std::uint64_t v = (c[0] & 0x80) ? ~std::uint64_t{0} : 0;
  for (std::size_t i = 0; i < n; ++i)
    v = (v << 8) | c[i];
  value = static_cast<std::int64_t>(v);
  return true;
}

}  // namespace

bool BerReader::fail(int code) const noexcept {
  return ctxt_->fail(code, static_cast<std::size_t>(p_ - origin_));
}

bool BerReader::peekTag(ASN1TAG& tag) const noexcept {
  const OSOCTET* after;
  return parseIdentifier(p_, end_, tag, after) == ASN_OK;
}

bool BerReader::tagOf(const OSOCTET* data, std::size_t size, ASN1TAG& tag) noexcept {
  const OSOCTET* after;
  return parseIdentifier(data, data + size, tag, after) == ASN_OK;
}

bool BerReader::nextIs(ASN1TAG tag) const noexcept {
  ASN1TAG next;
  if (!peekTag(next)) return false;
  if (next == tag) return true;
  // Strings and implicitly tagged strings come in both forms.
  return !asn1IsConstructed(tag) && asn1Primitive(next) == tag;
}

bool BerReader::readElement(ASN1TAG& tag, BerReader& contents, ASN1OpenType* whole) noexcept {
  Header h;
  int status = parseHeader(p_, end_, h);
  if (status != ASN_OK) return fail(status);
  if (asn1IsConstructed(h.tag) && depth_ + 1 > ctxt_->maxDepth) return fail(ASN_E_TOODEEP);
  const OSOCTET* begin = p_ + h.headerLength;
  const OSOCTET* contentEnd = begin + h.contentLength;
  const OSOCTET* next = contentEnd;
  if (h.indefinite) {
    std::size_t n = 0;
    status = walk(begin, end_, depth_ + 1, ctxt_->maxDepth, true, false, n);
    if (status != ASN_OK) return fail(status);
    contentEnd = begin + n - 2;
    next = begin + n;
  }
  if (whole != nullptr) {
    if (static_cast<std::uint64_t>(next - p_) > UINT32_MAX) return fail(ASN_E_INVLEN);
    whole->data = p_;
    whole->numocts = static_cast<OSUINT32>(next - p_);
  }
  contents = BerReader(begin, contentEnd, origin_, ctxt_, depth_ + 1);
  tag = h.tag;
  p_ = next;
  return true;
}

bool BerReader::readConstructed(ASN1TAG tag, BerReader& contents) noexcept {
  ASN1TAG next;
  if (!peekTag(next) || next != tag) return fail(empty() ? ASN_E_ENDOFBUF : ASN_E_BADTAG);
  ASN1TAG actual;
  return readElement(actual, contents);
}

bool BerReader::readOpenType(ASN1OpenType& value) noexcept {
  Header h;
  int status = parseHeader(p_, end_, h);
  if (status != ASN_OK) return fail(status);
  const OSOCTET* contents = p_ + h.headerLength;
  std::size_t n = h.contentLength;
  if (h.indefinite || asn1IsConstructed(h.tag)) {
    if (depth_ + 1 > ctxt_->maxDepth) return fail(ASN_E_TOODEEP);
    const OSOCTET* limit = h.indefinite ? end_ : contents + h.contentLength;
    std::size_t walked = 0;
    status = walk(contents, limit, depth_ + 1, ctxt_->maxDepth, h.indefinite, true, walked);
    if (status != ASN_OK) return fail(status);
    if (h.indefinite) n = walked;
  }
  const std::size_t total = h.headerLength + n;
  if (total > UINT32_MAX) return fail(ASN_E_INVLEN);
  value.data = p_;
  value.numocts = static_cast<OSUINT32>(total);
  p_ += total;
  return true;
}

bool BerReader::peekPrimitive(ASN1TAG tag, const OSOCTET*& contents, std::size_t& length,
                              const OSOCTET*& next) const noexcept {
  Header h;
  const int status = parseHeader(p_, end_, h);
  if (status != ASN_OK) return fail(status);
  // INTEGER, BOOLEAN, NULL and OBJECT IDENTIFIER have no constructed form.
  if (h.tag != asn1Primitive(tag)) return fail(ASN_E_BADTAG);
  contents = p_ + h.headerLength;
  length = h.contentLength;
  next = contents + length;
  return true;
}

namespace {

// Concatenates the segments of a constructed string (X.690 8.6.4, 8.7.3.2, 8.23.5): each segment
// is a string of `segmentTag`, primitive or itself constructed. With `bits`, every primitive
// segment starts with its unused-bit count, which only the last segment may have non-zero. Counts
// when `out` is null.
class StringSegments {
 public:
  StringSegments(ASN1TAG segmentTag, bool bits, OSOCTET* out)
      : segmentTag_(segmentTag), bits_(bits), out_(out) {}

  bool walk(BerReader in) noexcept {
    while (!in.empty()) {
      if (!in.nextIs(segmentTag_)) return in.fail(ASN_E_BADTAG);
      if (bits_ && unused_ != 0) return in.fail(ASN_E_BADVALUE);
      ASN1TAG tag;
      BerReader segment;
      if (!in.readElement(tag, segment)) return false;
      if (asn1IsConstructed(tag)) {
        if (!walk(segment)) return false;
        continue;
      }
      const OSOCTET* data = segment.position();
      std::size_t n = segment.remaining();
      if (bits_) {
        if (n == 0 || data[0] > 7 || (n == 1 && data[0] != 0)) return segment.fail(ASN_E_BADVALUE);
        unused_ = data[0];
        ++data;
        --n;
      }
      if (out_ != nullptr && n != 0) std::memcpy(out_ + total_, data, n);
      total_ += n;
    }
    return true;
  }
  std::size_t total() const { return total_; }
  unsigned unusedBits() const { return unused_; }

 private:
  ASN1TAG segmentTag_;
  bool bits_;
  OSOCTET* out_;
  std::size_t total_ = 0;
  unsigned unused_ = 0;
};

}  // namespace

bool BerReader::readString(ASN1TAG tag, ASN1TAG segmentTag, bool bits, const OSOCTET*& data,
                           std::size_t& length, unsigned& unusedBits) noexcept {
  if (!nextIs(asn1Primitive(tag))) return fail(empty() ? ASN_E_ENDOFBUF : ASN_E_BADTAG);
  BerReader probe = *this;
  ASN1TAG actual;
  BerReader contents;
  if (!probe.readElement(actual, contents)) return false;
  if (!asn1IsConstructed(actual)) {
    data = contents.p_;
    length = contents.remaining();
    unusedBits = 0;
    if (bits) {
      if (length == 0 || data[0] > 7 || (length == 1 && data[0] != 0)) return fail(ASN_E_BADVALUE);
      unusedBits = data[0];
      ++data;
      --length;
    }
  } else {
    StringSegments measure(segmentTag, bits, nullptr);
    if (!measure.walk(contents)) return false;
    auto* out = static_cast<OSOCTET*>(rtMemHeapAlloc(&ctxt_->heap, measure.total()));
    if (out == nullptr) return fail(ASN_E_NOMEM);
    StringSegments copy(segmentTag, bits, out);
    copy.walk(contents);
    data = out;
    length = copy.total();
    unusedBits = copy.unusedBits();
  }
  if (length > UINT32_MAX / 8) return fail(ASN_E_INVLEN);
  p_ = probe.p_;
  return true;
}

bool BerReader::readOctetString(ASN1DynOctStr& value, ASN1TAG tag) noexcept {
  const OSOCTET* data;
  std::size_t length;
  unsigned unused;
  if (!readString(tag, kTagOctetString, false, data, length, unused)) return false;
  value.data = data;
  value.numocts = static_cast<OSUINT32>(length);
  return true;
}

bool BerReader::readBitString(ASN1DynBitStr& value, ASN1TAG tag) noexcept {
  const OSOCTET* data;
  std::size_t length;
  unsigned unused;
  if (!readString(tag, kTagBitString, true, data, length, unused)) return false;
  value.data = data;
  value.numbits = static_cast<OSUINT32>(length * 8 - unused);
  return true;
}

bool BerReader::readText(const char*& text, ASN1TAG tag) noexcept {
  const OSOCTET* data;
  std::size_t length;
  unsigned unused;
  const OSOCTET* start = p_;
  if (!readString(tag, kTagOctetString, false, data, length, unused)) return false;
  if (std::memchr(data, 0, length) != nullptr) {
    p_ = start;
    return fail(ASN_E_BADVALUE);
  }
  auto* out = static_cast<char*>(rtMemHeapAlloc(&ctxt_->heap, length + 1));
  if (out == nullptr) return fail(ASN_E_NOMEM);
  if (length != 0) std::memcpy(out, data, length);
  out[length] = '\0';
  text = out;
  return true;
}

bool BerReader::readBoolean(OSBOOL& value, ASN1TAG tag) noexcept {
  const OSOCTET *c, *next;
  std::size_t n;
  if (!peekPrimitive(tag, c, n, next)) return false;
  if (n != 1) return fail(ASN_E_BADVALUE);
  value = c[0] != 0;  // BER: any non-zero octet is TRUE
  p_ = next;
  return true;
}

bool BerReader::readNull(ASN1TAG tag) noexcept {
  const OSOCTET *c, *next;
  std::size_t n;
  if (!peekPrimitive(tag, c, n, next)) return false;
  if (n != 0) return fail(ASN_E_BADVALUE);
  p_ = next;
  return true;
}

bool BerReader::readIntegerOctets(ASN1DynOctStr& value, ASN1TAG tag) noexcept {
  const OSOCTET *c, *next;
  std::size_t n;
  if (!peekPrimitive(tag, c, n, next)) return false;
  if (n == 0) return fail(ASN_E_BADVALUE);  // 8.3.1: at least one content octet
  if (n > UINT32_MAX) return fail(ASN_E_INVLEN);
  value.data = c;
  value.numocts = static_cast<OSUINT32>(n);
  p_ = next;
  return true;
}

bool BerReader::readInteger(const char*& text, ASN1TAG tag) noexcept {
  ASN1DynOctStr octets;
  if (!readIntegerOctets(octets, tag)) return false;
  text = rtIntegerOctetsToText(ctxt_, octets.data, octets.numocts);
  return text != nullptr || fail(ASN_E_NOMEM);
}

bool BerReader::readBoundedInteger(std::int64_t min, std::int64_t max, std::int64_t& value,
                                   ASN1TAG tag) noexcept {
  const OSOCTET* start = p_;
  ASN1DynOctStr octets;
  if (!readIntegerOctets(octets, tag)) return false;
  if (!integerValue(octets.data, octets.numocts, value) || value < min || value > max) {
    p_ = start;
    return fail(ASN_E_RANGE);
  }
  return true;
}

bool BerReader::readInt32(OSINT32& value, ASN1TAG tag) noexcept {
  std::int64_t v;
  if (!readBoundedInteger(INT32_MIN, INT32_MAX, v, tag)) return false;
  value = static_cast<OSINT32>(v);
  return true;
}

bool BerReader::readUInt32(OSUINT32& value, ASN1TAG tag) noexcept {
  std::int64_t v;
  if (!readBoundedInteger(0, UINT32_MAX, v, tag)) return false;
  value = static_cast<OSUINT32>(v);
  return true;
}

bool BerReader::readUInt16(OSUINT16& value, ASN1TAG tag) noexcept {
  std::int64_t v;
  if (!readBoundedInteger(0, UINT16_MAX, v, tag)) return false;
  value = static_cast<OSUINT16>(v);
  return true;
}

bool BerReader::readObjId(ASN1OBJID& value, ASN1TAG tag) noexcept {
  const OSOCTET *c, *next;
  std::size_t n;
  if (!peekPrimitive(tag, c, n, next)) return false;
  // 8.19.2: base-128 subidentifiers, each without a leading 0x80 octet, the last octet of each
  // with bit 8 clear. Arcs are held to 64 bits.
  bool ok = n >= 1 && n <= kMaxObjIdOctets;
  std::uint64_t arc = 0;
  bool arcStart = true;
  for (std::size_t i = 0; ok && i < n; ++i) {
    if ((arcStart && c[i] == 0x80) || arc > (UINT64_MAX >> 7)) ok = false;
    arc = (arc << 7) | (c[i] & 0x7Fu);
    arcStart = (c[i] & 0x80) == 0;
    if (arcStart) arc = 0;
  }
  if (!ok || !arcStart) return fail(ASN_E_INVOBJID);
  value.data = c;
  value.numocts = static_cast<OSUINT32>(n);
  p_ = next;
  return true;
}

bool BerReader::finish() noexcept {
  return empty() || fail(ASN_E_EXTRA);
}

}  // namespace BER
}  // namespace Zanthorel
