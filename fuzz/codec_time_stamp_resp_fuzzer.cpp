// The codec of TimeStampResp: decode, encode, decode again.
#include "fuzz/codec_fuzzer.h"
#include "outside/asn1/tsp.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  return fuzzCodecRoundTrip<ASN1T_TimeStampResp, ASN1C_TimeStampResp>(data, size);
}
