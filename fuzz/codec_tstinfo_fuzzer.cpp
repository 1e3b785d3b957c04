// The codec of TSTInfo: decode, encode, decode again.
#include "fuzz/codec_fuzzer.h"
#include "outside/asn1/tsp.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  return fuzzCodecRoundTrip<ASN1T_TSTInfo, ASN1C_TSTInfo>(data, size);
}
