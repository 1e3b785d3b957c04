// Decoding time against input size: each entry point on inputs grown from 16 KiB to 1 MiB, in bulk
// (one long value) and in many of the smallest elements a message keeps one by one. Time is linear
// when bytes_per_second stays the same across the sizes of one shape.
#include <benchmark/benchmark.h>

#include <string>

#include "authenticode/ms_request.h"
#include "authenticode/ms_stamp.h"
#include "rfc3161/request.h"
#include "rfc3161/response.h"
#include "rfc3161/token.h"
#include "tests/hostile/der_pieces.h"

using Zanthorel::CBlob;
using Zanthorel::PKI::TSP::CMSRequest;
using Zanthorel::PKI::TSP::CMSStamp;
using Zanthorel::PKI::TSP::CRequest;
using Zanthorel::PKI::TSP::CResponse;
using Zanthorel::PKI::TSP::CToken;
using namespace hostile_test;

namespace {

CBlob hex(const std::string& digits) {
  CBlob bytes(static_cast<std::uint32_t>(digits.size() / 2));
  for (std::size_t i = 0; i < bytes.cbData(); ++i)
    bytes.pbData()[i] = static_cast<unsigned char>(std::stoi(digits.substr(2 * i, 2), nullptr, 16));
  return bytes;
}

const char kSha256[] = "300D06096086480165030402010500";
const char kSha256WithRsa[] = "300D06092A864886F70D01010B0500";
const char kTstInfoType[] = "060B2A864886F70D0109100104";
const char kDataType[] = "06092A864886F70D010701";
const char kSigningTime[] = "301C06092A864886F70D010905310F170D3234303632313037313230355A";

CBlob octets(std::size_t size) {
  return repeated(CBlob("A", 1), size);
}

CBlob requestWithExtensions(std::size_t size) {
  const CBlob imprint = sequence({hex(kSha256), primitive(kTagOctetString, octets(32))});
  return sequence({hex("020101"), imprint,
                   primitive(asn1ContextTag(0, true), repeated(hex("300506012A0400"), size / 7))});
}

CBlob responseWithStatusStrings(std::size_t size) {
  return sequence(
      {sequence({hex("020102"), primitive(kTagSequence, repeated(hex("0C00"), size / 2))})});
}

// A SignedData that decodes (nothing here verifies): one signer named by an empty issuer and
// serial 1, `attributes` its signed attributes when not empty.
CBlob signedData(const CBlob& contentType, const CBlob& content, const CBlob& certificates,
                 const CBlob& attributes) {
  const CBlob signer =
      sequence({hex("020101"), sequence({hex("3000"), hex("020101")}),
                join({hex(kSha256), attributes}), hex(kSha256WithRsa), hex("0403010203")});
  CBlob body =
      join({hex("020103"), constructed(kTagSet, {hex(kSha256)}),
            sequence({contentType,
                      constructed(asn1ContextTag(0, true), {primitive(kTagOctetString, content)})}),
            certificates.empty() ? CBlob() : constructed(asn1ContextTag(0, true), {certificates}),
            constructed(kTagSet, {signer})});
  return sequence({hex("06092A864886F70D010702"),
                   constructed(asn1ContextTag(0, true), {primitive(kTagSequence, body)})});
}

CBlob tstInfo(const CBlob& tsaName) {
  return sequence(
      {hex("020101"), hex("06032A0304"),
       sequence({hex(kSha256), primitive(kTagOctetString, octets(32))}), hex("020101"),
       hex("180F32303234303632313037313230355A"),
       constructed(asn1ContextTag(0, true), {primitive(asn1ContextTag(6, false), tsaName)})});
}

CBlob tokenWithCertificates(std::size_t size) {
  return signedData(hex(kTstInfoType), tstInfo(octets(8)), repeated(hex("3000"), size / 2), {});
}

CBlob tokenWithLongName(std::size_t size) {
  return signedData(hex(kTstInfoType), tstInfo(octets(size)), {}, {});
}

CBlob stampWithContent(std::size_t size) {
  return signedData(hex(kDataType), octets(size), {},
                    constructed(asn1ContextTag(0, true), {hex(kSigningTime)}));
}

CBlob authenticodeRequestWithContent(std::size_t size) {
  return sequence(
      {hex("060A2B060104018237030201"),
       sequence({hex(kDataType), constructed(asn1ContextTag(0, true),
                                             {primitive(kTagOctetString, octets(size))})})});
}

template <class Message>
void decodeAs(const CBlob& input) {
  Message message;
  message.decode(input);
  benchmark::DoNotOptimize(message);
}

void BM_DecodeScaling(benchmark::State& state, CBlob (*grow)(std::size_t),
                      void (*decode)(const CBlob&)) {
  const CBlob input = grow(static_cast<std::size_t>(state.range(0)));
  try {
    decode(input);
  } catch (const ATL::CAtlException& e) {
    state.SkipWithError(("the input does not decode: " + std::to_string(e.m_hr)).c_str());
    return;
  }
  for (auto _ : state)
    decode(input);
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations()) * input.cbData());
}

#define DECODE_SCALING(name, grow, message)                          \
  BENCHMARK_CAPTURE(BM_DecodeScaling, name, grow, decodeAs<message>) \
      ->RangeMultiplier(4)                                           \
      ->Range(16 << 10, 1 << 20)                                     \
      ->Unit(benchmark::kMicrosecond)

DECODE_SCALING(request_many_extensions, requestWithExtensions, CRequest);
DECODE_SCALING(response_many_status_strings, responseWithStatusStrings, CResponse);
DECODE_SCALING(token_many_certificates, tokenWithCertificates, CToken);
DECODE_SCALING(token_long_tsa_name, tokenWithLongName, CToken);
DECODE_SCALING(stamp_long_content, stampWithContent, CMSStamp);
DECODE_SCALING(authenticode_request_long_content, authenticodeRequestWithContent, CMSRequest);

}  // namespace
