// The raw codec under a fuzzer: whatever decodes must encode, and its encoding must decode to
// a value that encodes to the same bytes again.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "outside/asn1rt/asn1_buffers.h"

template <class T, class Control>
int fuzzCodecRoundTrip(const std::uint8_t* data, std::size_t size) {
  ASN1BERDecodeBuffer in(data, size);
  T value;
  if (Control(in, value).Decode() != 0) return 0;

  ASN1BEREncodeBuffer first;
  const int length = Control(first, value).Encode();
  if (length <= 0) std::abort();  // whatever the decoder takes, the encoder must write

  ASN1BERDecodeBuffer again(first.getMsgPtr(), static_cast<std::size_t>(length));
  T reread;
  if (Control(again, reread).Decode() != 0) std::abort();  // our DER must read back
  ASN1BEREncodeBuffer second;
  const int length2 = Control(second, reread).Encode();
  if (length2 != length || std::memcmp(first.getMsgPtr(), second.getMsgPtr(), length) != 0) {
    std::abort();  // DER is canonical: the same value gives the same bytes
  }
  return 0;
}
