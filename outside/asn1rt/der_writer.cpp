#include "outside/asn1rt/der_writer.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "outside/asn1rt/asn1_integer_text.h"
#include "outside/asn1rt/ber_reader.h"

namespace Zanthorel {
namespace BER {

namespace {

// Octets needed for a definite length (X.690 10.1: the minimal form).
std::size_t lengthOctets(std::size_t length) {
  if (length < 0x80) return 1;
  std::size_t n = 1;
  while (length > 0) {
    ++n;
    length >>= 8;
  }
  return n;
}

void writeLength(OSOCTET* out, std::size_t length) {
  const std::size_t n = lengthOctets(length);
  if (n == 1) {
    out[0] = static_cast<OSOCTET>(length);
    return;
  }
  out[0] = static_cast<OSOCTET>(0x80 | (n - 1));
  for (std::size_t i = n - 1; i > 0; --i, length >>= 8)
    out[i] = static_cast<OSOCTET>(length);
}

// SET OF order (X.690 11.6): ascending by encoding, a shorter encoding before a longer one that
// it begins.
bool encodesBefore(const ASN1OpenType& a, const ASN1OpenType& b) {
  const int c = std::memcmp(a.data, b.data, std::min(a.numocts, b.numocts));
  return c < 0 || (c == 0 && a.numocts < b.numocts);
}

}  // namespace

DerWriter::~DerWriter() {
  if (data_ != inline_) std::free(data_);
}

void DerWriter::reset() noexcept {
  size_ = 0;
  status_ = ASN_OK;
}

void DerWriter::fail(int code) noexcept {
  if (status_ == ASN_OK) status_ = code;
  ctxt_->fail(code);
}

bool DerWriter::grow(std::size_t extra) noexcept {
  if (status_ != ASN_OK) return false;
  if (capacity_ - size_ >= extra) return true;
  std::size_t capacity = capacity_ * 2;
  if (capacity - size_ < extra) capacity = size_ + extra;
  auto* bigger = static_cast<OSOCTET*>(std::malloc(capacity));
  if (bigger == nullptr) {
    fail(ASN_E_NOMEM);
    return false;
  }
  std::memcpy(bigger, data_, size_);
  if (data_ != inline_) std::free(data_);
  data_ = bigger;
  capacity_ = capacity;
  return true;
}

void DerWriter::putRaw(const OSOCTET* bytes, std::size_t length) noexcept {
  if (!grow(length)) return;
  if (length != 0) std::memcpy(data_ + size_, bytes, length);
  size_ += length;
}

void DerWriter::putHeader(ASN1TAG tag, std::size_t length) noexcept {
  OSOCTET header[16];
  std::size_t n = 0;
  const OSUINT32 number = asn1TagNumber(tag);
  const auto leading =
      static_cast<OSOCTET>((asn1TagClass(tag) << 6) | (asn1IsConstructed(tag) ? 0x20 : 0));
  if (number < 31) {
    header[n++] = static_cast<OSOCTET>(leading | number);
  } else {
    header[n++] = static_cast<OSOCTET>(leading | 0x1F);
    int shift = 28;
    while (shift > 0 && (number >> shift) == 0)
      shift -= 7;
    for (; shift > 0; shift -= 7)
      header[n++] = static_cast<OSOCTET>(0x80 | ((number >> shift) & 0x7F));
    header[n++] = static_cast<OSOCTET>(number & 0x7F);
  }
  writeLength(header + n, length);
  n += lengthOctets(length);
  putRaw(header, n);
}

std::size_t DerWriter::headerSize(ASN1TAG tag, std::size_t length) noexcept {
  std::size_t identifier = 1;
  OSUINT32 number = asn1TagNumber(tag);
  if (number >= 31) {
    do {
      ++identifier;
      number >>= 7;
    } while (number != 0);
  }
  return identifier + lengthOctets(length);
}

std::size_t DerWriter::open(ASN1TAG tag) noexcept {
  // A one-octet length is reserved; close() makes room when the contents turn out longer.
  putHeader(tag, 0);
  return size_;
}

void DerWriter::close(std::size_t mark) noexcept {
  if (status_ != ASN_OK) return;
  const std::size_t length = size_ - mark;
  const std::size_t extra = lengthOctets(length) - 1;
  if (extra != 0) {
    if (!grow(extra)) return;
    std::memmove(data_ + mark + extra, data_ + mark, length);
    size_ += extra;
  }
  writeLength(data_ + mark - 1, length);
}

void DerWriter::closeSetOf(std::size_t mark) noexcept {
  if (status_ != ASN_OK) return;
  // The elements are found by the bounded reader: putOpenType takes whole encodings of any form.
  ASN1CTXT scratch;
  const BerReader elements(data_ + mark, size_ - mark, &scratch);
  BerReader in = elements;
  ASN1TAG tag;
  BerReader contents;
  ASN1OpenType previous{}, element{};
  std::size_t count = 0;
  bool sorted = true;
  for (; !in.empty(); ++count, previous = element) {
    if (!in.readElement(tag, contents, &element)) return fail(scratch.status);
    sorted = sorted && (count == 0 || !encodesBefore(element, previous));
  }
  if (!sorted) {
    auto* items = static_cast<ASN1OpenType*>(rtMemHeapAlloc(&scratch.heap, count * sizeof element));
    auto* ordered = static_cast<OSOCTET*>(rtMemHeapAlloc(&scratch.heap, size_ - mark));
    if (items == nullptr || ordered == nullptr) return fail(ASN_E_NOMEM);
    in = elements;
    for (std::size_t i = 0; i < count; ++i)
      in.readElement(tag, contents, &items[i]);
    std::stable_sort(items, items + count, encodesBefore);
    std::size_t at = 0;
    for (std::size_t i = 0; i < count; at += items[i++].numocts)
      std::memcpy(ordered + at, items[i].data, items[i].numocts);
    std::memcpy(data_ + mark, ordered, at);
  }
  close(mark);
}

void DerWriter::putElement(ASN1TAG tag, const OSOCTET* contents, std::size_t length) noexcept {
  putHeader(tag, length);
  putRaw(contents, length);
}

void DerWriter::putOpenType(const ASN1OpenType& value) noexcept {
  if (value.numocts == 0) return fail(ASN_E_INVPARAM);
  putRaw(value.data, value.numocts);
}

void DerWriter::putBoolean(bool value, ASN1TAG tag) noexcept {
  const OSOCTET octet = value ? 0xFF : 0x00;  // DER: TRUE is 0xFF (X.690 11.1)
  putElement(tag, &octet, 1);
}

void DerWriter::putNull(ASN1TAG tag) noexcept {
  putElement(tag, nullptr, 0);
}

void DerWriter::putInteger(const char* text, ASN1TAG tag) noexcept {
  if (status_ != ASN_OK) return;
  ASN1DynOctStr octets;
  if (!rtTextToIntegerOctets(ctxt_, text, octets)) return fail(ctxt_->status);
  putElement(tag, octets.data, octets.numocts);
}

void DerWriter::putIntegerOctets(const ASN1DynOctStr& octets, ASN1TAG tag) noexcept {
  if (octets.numocts == 0) return fail(ASN_E_INVPARAM);
  const OSOCTET* p = octets.data;
  std::size_t n = octets.numocts;
  while (n > 1 && ((p[0] == 0x00 && (p[1] & 0x80) == 0) || (p[0] == 0xFF && (p[1] & 0x80) != 0))) {
    ++p;
    --n;
  }
  putElement(tag, p, n);
}

void DerWriter::putInt64(long long value, ASN1TAG tag) noexcept {
  OSOCTET octets[8];
  auto v = static_cast<unsigned long long>(value);
  for (int i = 7; i >= 0; --i, v >>= 8)
    octets[i] = static_cast<OSOCTET>(v);
  putIntegerOctets({8, octets}, tag);
}

void DerWriter::putObjId(const ASN1OBJID& value, ASN1TAG tag) noexcept {
  if (value.numocts == 0) return fail(ASN_E_INVPARAM);
  putElement(tag, value.data, value.numocts);
}

void DerWriter::putOctetString(const ASN1DynOctStr& value, ASN1TAG tag) noexcept {
  putElement(tag, value.data, value.numocts);
}

void DerWriter::putBitString(const ASN1DynBitStr& value, ASN1TAG tag) noexcept {
  const std::size_t octets = (static_cast<std::size_t>(value.numbits) + 7) / 8;
  const auto unused = static_cast<OSOCTET>(octets * 8 - value.numbits);
  putHeader(tag, octets + 1);
  putRaw(&unused, 1);
  putRaw(value.data, octets);
  if (status_ == ASN_OK && octets != 0) {
    data_[size_ - 1] &= static_cast<OSOCTET>(0xFF << unused);  // X.690 11.2.1
  }
}

void DerWriter::putText(const char* text, ASN1TAG tag) noexcept {
  if (text == nullptr) return fail(ASN_E_INVPARAM);
  putElement(tag, reinterpret_cast<const OSOCTET*>(text), std::strlen(text));
}

}  // namespace BER
}  // namespace Zanthorel
