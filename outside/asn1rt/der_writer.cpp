#include "outside/asn1rt/der_writer.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <vector>

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

// Total size of the element at `p`, which this writer wrote or took whole (putOpenType, which
// may carry a BER indefinite length), within the `available` octets written after it.
std::size_t elementSize(const OSOCTET* p, std::size_t available) {
  std::size_t i = 1;
  if ((p[0] & 0x1F) == 0x1F) {
    while (p[i] & 0x80)
      ++i;
    ++i;
  }
  std::size_t length = p[i];
  std::size_t header = i + 1;
  if (length == 0x80) {
    ASN1CTXT ctxt;
    BerReader in(p, available, &ctxt);
    ASN1OpenType element{};
    return in.readOpenType(element) ? element.numocts : available;
  }
  if (length & 0x80) {
    const std::size_t n = length & 0x7F;
    length = 0;
    for (std::size_t k = 0; k < n; ++k)
      length = (length << 8) | p[header + k];
    header += n;
  }
  return header + length;
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
  struct Span {
    const OSOCTET* p;
    std::size_t n;
  };
  std::vector<Span> elements;
  for (std::size_t at = mark; at < size_;) {
    const std::size_t n = elementSize(data_ + at, size_ - at);
    elements.push_back({data_ + at, n});
    at += n;
  }
  const auto before = [](const Span& a, const Span& b) {
    const int c = std::memcmp(a.p, b.p, std::min(a.n, b.n));
    return c < 0 || (c == 0 && a.n < b.n);
  };
  if (!std::is_sorted(elements.begin(), elements.end(), before)) {
    std::stable_sort(elements.begin(), elements.end(), before);
    std::vector<OSOCTET> sorted;
    sorted.reserve(size_ - mark);
    for (const Span& e : elements)
      sorted.insert(sorted.end(), e.p, e.p + e.n);
    std::memcpy(data_ + mark, sorted.data(), sorted.size());
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
