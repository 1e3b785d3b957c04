// The codec of TimeStampToken: decode, encode, decode again.
#include "fuzz/codec_fuzzer.h"
#include "outside/asn1/tsp.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  return fuzzCodecRoundTrip<ASN1T_ContentInfo, ASN1C_TimeStampToken>(data, size);
}
