// The codec of SignerInfo: decode, encode, decode again.
#include "fuzz/codec_fuzzer.h"
#include "outside/asn1/cms.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  return fuzzCodecRoundTrip<ASN1T_SignerInfo, ASN1C_SignerInfo>(data, size);
}
