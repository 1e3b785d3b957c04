// The codec of TimeStampAuthenticodeRequest: decode, encode, decode again.
#include "fuzz/codec_fuzzer.h"
#include "outside/asn1/authenticode.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  return fuzzCodecRoundTrip<ASN1T_TimeStampAuthenticodeRequest, ASN1C_TimeStampAuthenticodeRequest>(
      data, size);
}
