// BerReader: a bounded, non-owning view over BER bytes.
//
// Every read checks what remains before it looks, and advances only when it succeeds; a constructed
// value is read through a child view over its contents, so nothing reads past its parent. A failed
// read records the first failure (status and input offset) in the codec context and returns
// false, so that a structure reads as one chain of steps:
//
//   // MessageImprint ::= SEQUENCE { hashAlgorithm AlgorithmIdentifier, hashedMessage OCTET STRING
//   } BerReader seq; return in.readSequence(seq) && asn1D_AlgorithmIdentifier(seq, v.hashAlgorithm)
//   &&
//          seq.readOctetString(v.hashedMessage) && seq.finish();
//
// Every valid BER form is accepted: indefinite lengths on constructed encodings, constructed
// strings, long-form and non-minimal lengths, high tag numbers, any non-zero BOOLEAN octet.
// Refused: truncation, lengths past the parent, indefinite length on a primitive, stray or missing
// end-of-contents, non-minimal high tag numbers, nesting deeper than the context's maxDepth, and
// (by the typed reads) contents that are malformed for their type.
#pragma once

#include <cstddef>
#include <cstdint>

#include "outside/asn1rt/asn1_context.h"
#include "outside/asn1rt/ber_tag.h"

namespace Zanthorel {
namespace BER {

class ZTASN1_API BerReader {
 public:
  BerReader() noexcept = default;
  // A view over a whole input. `ctxt` receives allocations and the first failure.
  BerReader(const OSOCTET* data, std::size_t size, ASN1CTXT* ctxt) noexcept
      : p_(data), end_(data + size), origin_(data), ctxt_(ctxt) {}

  ASN1CTXT* context() const noexcept { return ctxt_; }
  bool empty() const noexcept { return p_ == end_; }
  std::size_t remaining() const noexcept { return static_cast<std::size_t>(end_ - p_); }
  const OSOCTET* position() const noexcept { return p_; }

  // The identifier of the next element, without reading it. False at the end or when the
  // identifier is malformed (nothing is recorded; the read that follows reports it).
  bool peekTag(ASN1TAG& tag) const noexcept;
  // Whether the next element has `tag`; a string or implicit tag matches in both forms.
  bool nextIs(ASN1TAG tag) const noexcept;
  // The identifier that `size` octets at `data` start with, as peekTag gives it; for a look at
  // bytes that no reader is needed for yet.
  static bool tagOf(const OSOCTET* data, std::size_t size, ASN1TAG& tag) noexcept;

  // Reads the next element whatever it is: its tag, a view over its contents (an indefinite
  // length's end-of-contents excluded) and optionally the whole element.
  bool readElement(ASN1TAG& tag, BerReader& contents, ASN1OpenType* whole = nullptr) noexcept;
  // Reads a constructed element with `tag` (constructed bit set) and gives its contents.
  bool readConstructed(ASN1TAG tag, BerReader& contents) noexcept;
  bool readSequence(BerReader& contents) noexcept {
    return readConstructed(kTagSequence, contents);
  }
  bool readSet(BerReader& contents) noexcept { return readConstructed(kTagSet, contents); }
  // Reads the next element, of any tag, as an open type; its whole structure is checked.
  bool readOpenType(ASN1OpenType& value) noexcept;

  bool readBoolean(OSBOOL& value, ASN1TAG tag = kTagBoolean) noexcept;
  bool readNull(ASN1TAG tag = kTagNull) noexcept;
  // INTEGER as big-integer text in the context's memory (see asn1_integer_text.h).
  bool readInteger(const char*& text, ASN1TAG tag = kTagInteger) noexcept;
  // INTEGER as its two's-complement content octets, which stay in the input.
  bool readIntegerOctets(ASN1DynOctStr& value, ASN1TAG tag = kTagInteger) noexcept;
  // INTEGERs for fields of a fixed width; a value outside the field's range is ASN_E_RANGE.
  bool readInt32(OSINT32& value, ASN1TAG tag = kTagInteger) noexcept;
  bool readUInt32(OSUINT32& value, ASN1TAG tag = kTagInteger) noexcept;
  bool readUInt16(OSUINT16& value, ASN1TAG tag = kTagInteger) noexcept;
  bool readObjId(ASN1OBJID& value, ASN1TAG tag = kTagObjectId) noexcept;
  // OCTET STRING, or any string type given by `tag`, as its octets; constructed forms are
  // concatenated into the context's memory, primitive ones stay in the input.
  bool readOctetString(ASN1DynOctStr& value, ASN1TAG tag = kTagOctetString) noexcept;
  bool readBitString(ASN1DynBitStr& value, ASN1TAG tag = kTagBitString) noexcept;
  // A character string or time of type `tag` as NUL-terminated text in the context's memory.
  // Text holding a NUL octet is refused.
  bool readText(const char*& text, ASN1TAG tag) noexcept;

  // Succeeds when the view is used up; otherwise records ASN_E_EXTRA.
  bool finish() noexcept;
  // Records `code` at the current position and returns false.
  bool fail(int code) const noexcept;

 private:
  BerReader(const OSOCTET* begin, const OSOCTET* end, const OSOCTET* origin, ASN1CTXT* ctxt,
            unsigned depth) noexcept
      : p_(begin), end_(end), origin_(origin), ctxt_(ctxt), depth_(depth) {}

  // Looks at the next element, which must be primitive with `tag`, without reading it.
  bool peekPrimitive(ASN1TAG tag, const OSOCTET*& contents, std::size_t& length,
                     const OSOCTET*& next) const noexcept;
  // Reads a string of type `tag` in either form; see StringSegments.
  bool readString(ASN1TAG tag, ASN1TAG segmentTag, bool bits, const OSOCTET*& data,
                  std::size_t& length, unsigned& unusedBits) noexcept;
  bool readBoundedInteger(std::int64_t min, std::int64_t max, std::int64_t& value,
                          ASN1TAG tag) noexcept;

  const OSOCTET* p_ = nullptr;
  const OSOCTET* end_ = nullptr;
  const OSOCTET* origin_ = nullptr;  // start of the whole input, for error offsets
  ASN1CTXT* ctxt_ = nullptr;
  unsigned depth_ = 0;
};

}  // namespace BER
}  // namespace Zanthorel
