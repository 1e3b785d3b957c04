// The raw codec of each message type: whatever decodes must encode, and its encoding must decode
// to a value that encodes to the same bytes again.
#include <cstring>

#include "fuzz/targets/fuzz_targets.h"
#include "outside/asn1/authenticode.h"
#include "outside/asn1/cms.h"
#include "outside/asn1/tsp.h"
#include "outside/asn1rt/asn1_buffers.h"

namespace zttsp_fuzz {
namespace {

template <class T, class Control>
void roundTrip(const std::uint8_t* data, std::size_t size) {
  ASN1BERDecodeBuffer in(data, size);
  T value;
  if (Control(in, value).Decode() != 0) return;

  ASN1BEREncodeBuffer first;
  const int length = Control(first, value).Encode();
  if (length <= 0) fuzzFinding("the encoder refuses what the decoder took");

  ASN1BERDecodeBuffer again(first.getMsgPtr(), static_cast<std::size_t>(length));
  T reread;
  if (Control(again, reread).Decode() != 0) fuzzFinding("our DER does not read back");
  ASN1BEREncodeBuffer second;
  const int length2 = Control(second, reread).Encode();
  if (length2 != length || std::memcmp(first.getMsgPtr(), second.getMsgPtr(), length) != 0)
    fuzzFinding("one value, two encodings");
}

}  // namespace

void runTimeStampReqCodec(const std::uint8_t* data, std::size_t size) {
  roundTrip<ASN1T_TimeStampReq, ASN1C_TimeStampReq>(data, size);
}

void runTimeStampRespCodec(const std::uint8_t* data, std::size_t size) {
  roundTrip<ASN1T_TimeStampResp, ASN1C_TimeStampResp>(data, size);
}

void runTimeStampTokenCodec(const std::uint8_t* data, std::size_t size) {
  roundTrip<ASN1T_ContentInfo, ASN1C_TimeStampToken>(data, size);
}

void runTSTInfoCodec(const std::uint8_t* data, std::size_t size) {
  roundTrip<ASN1T_TSTInfo, ASN1C_TSTInfo>(data, size);
}

void runSignerInfoCodec(const std::uint8_t* data, std::size_t size) {
  roundTrip<ASN1T_SignerInfo, ASN1C_SignerInfo>(data, size);
}

void runTimeStampAuthenticodeRequestCodec(const std::uint8_t* data, std::size_t size) {
  roundTrip<ASN1T_TimeStampAuthenticodeRequest, ASN1C_TimeStampAuthenticodeRequest>(data, size);
}

}  // namespace zttsp_fuzz
