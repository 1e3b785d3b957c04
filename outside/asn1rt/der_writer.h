// DerWriter: builds DER into a growing buffer.
//
// A constructed element is opened, filled and closed; its length is filled in when it is closed,
// so a type writes like its ASN.1:
//
//   // MessageImprint ::= SEQUENCE { hashAlgorithm AlgorithmIdentifier, hashedMessage OCTET STRING
//   } std::size_t seq = out.open(kTagSequence); asn1E_AlgorithmIdentifier(out, v.hashAlgorithm);
//   out.putOctetString(v.hashedMessage);
//   out.close(seq);
//
// Errors are sticky: the first failure (an identifier without arcs, number text that is no number,
// no memory) is kept, every later call does nothing, and ok() tells at the end.
#pragma once

#include <cstddef>

#include "outside/asn1rt/asn1_context.h"
#include "outside/asn1rt/ber_tag.h"

namespace Zanthorel {
namespace BER {

class ZTASN1_API DerWriter {
 public:
  explicit DerWriter(ASN1CTXT* ctxt) noexcept : ctxt_(ctxt) {}
  DerWriter(const DerWriter&) = delete;
  DerWriter& operator=(const DerWriter&) = delete;
  ~DerWriter();

  bool ok() const noexcept { return status_ == ASN_OK; }
  int status() const noexcept { return status_; }
  const OSOCTET* data() const noexcept { return data_; }
  std::size_t size() const noexcept { return size_; }
  // Drops what was written and any failure.
  void reset() noexcept;

  // Opens a constructed element of `tag` and returns the mark to close it with.
  std::size_t open(ASN1TAG tag) noexcept;
  // Fills in the length of the element opened at `mark`.
  void close(std::size_t mark) noexcept;
  // Closes like close() after sorting the elements written since `mark` into SET OF order:
  // ascending by their encodings (X.690 11.6).
  void closeSetOf(std::size_t mark) noexcept;

  // A primitive element with the given contents octets.
  void putElement(ASN1TAG tag, const OSOCTET* contents, std::size_t length) noexcept;
  // Octets that are already a complete encoding (an open type); they must not be empty.
  void putOpenType(const ASN1OpenType& value) noexcept;
  void putBoolean(bool value, ASN1TAG tag = kTagBoolean) noexcept;
  void putNull(ASN1TAG tag = kTagNull) noexcept;
  // INTEGER from big-integer text (see asn1_integer_text.h), written in minimal form.
  void putInteger(const char* text, ASN1TAG tag = kTagInteger) noexcept;
  // INTEGER from two's-complement octets, written in minimal form.
  void putIntegerOctets(const ASN1DynOctStr& octets, ASN1TAG tag = kTagInteger) noexcept;
  void putInt64(long long value, ASN1TAG tag = kTagInteger) noexcept;
  // An OBJECT IDENTIFIER; one without octets cannot be encoded.
  void putObjId(const ASN1OBJID& value, ASN1TAG tag = kTagObjectId) noexcept;
  void putOctetString(const ASN1DynOctStr& value, ASN1TAG tag = kTagOctetString) noexcept;
  // A BIT STRING; unused bits of the last octet are written as zero.
  void putBitString(const ASN1DynBitStr& value, ASN1TAG tag = kTagBitString) noexcept;
  // A character string or time from NUL-terminated text.
  void putText(const char* text, ASN1TAG tag) noexcept;

  // Records a failure; later calls do nothing.
  void fail(int code) noexcept;

  // The number of identifier and length octets that DER writes before `length` contents octets.
  static std::size_t headerSize(ASN1TAG tag, std::size_t length) noexcept;

 private:
  static constexpr std::size_t kInlineBytes = 512;

  bool grow(std::size_t extra) noexcept;
  void putRaw(const OSOCTET* bytes, std::size_t length) noexcept;
  void putHeader(ASN1TAG tag, std::size_t length) noexcept;

  ASN1CTXT* ctxt_;
  int status_ = ASN_OK;
  alignas(8) OSOCTET inline_[kInlineBytes];
  OSOCTET* data_ = inline_;
  std::size_t size_ = 0;
  std::size_t capacity_ = kInlineBytes;
};

}  // namespace BER
}  // namespace Zanthorel
