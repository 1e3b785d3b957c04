// CRequest, CResponse and CToken on anything: every failure is an HRESULT error that leaves the
// object in the state its class promises, and whatever decodes reads back the same.
#include <cstring>

#include "fuzz/targets/fixed_tsa.h"
#include "fuzz/targets/fuzz_targets.h"
#include "rfc3161/request.h"
#include "rfc3161/response.h"
#include "sdk/win32.h"

using Zanthorel::CBlob;
using Zanthorel::ASN1::CBigInteger;
using Zanthorel::ASN1::CPKIStatusInfo;
using Zanthorel::PKI::TSP::CRequest;
using Zanthorel::PKI::TSP::CResponse;
using Zanthorel::PKI::TSP::CToken;

namespace zttsp_fuzz {
namespace {

bool isDefaultRequest(const CRequest& request) {
  return request.get_version() == 1 && request.get_hashAlgorithm().get_algorithm()[0] == '\0' &&
         request.get_hashedMessage().empty() && !request.get_certReq() &&
         request.get_reqPolicy() == nullptr && request.get_nonce() == nullptr &&
         request.get_extensions() == nullptr;
}

// A token's answers after decode: a failed decode keeps the input as its encoding and no message.
void checkToken(const CToken& token, const CBlob& input, HRESULT decoded) {
  if (decoded != S_OK) {
    if (hresultOf([&] { token.verify(fixedCertificate()); }) != E_FAIL)
      fuzzFinding("a token that failed to decode still holds a message");
    if (!input.empty() && !(token.encode() == input))
      fuzzFinding("a token that failed to decode lost its input");
    return;
  }
  if (!(token.encode() == input)) fuzzFinding("a decoded token encodes other bytes");
  const HRESULT fixed = hresultOf([&] { token.verify(fixedCertificate()); });
  if (const Zanthorel::CBlobList* certificates = token.get_certificates()) {
    hresultOf([&] { token.verify(certificates->front()); });
  }
  // A copy goes through the TSTInfo structure and shares the message.
  CToken copy(token);
  if (std::strcmp(copy.get_policy(), token.get_policy()) != 0 ||
      !(copy.get_serialNumber() == token.get_serialNumber()) ||
      !(copy.get_hashedMessage() == token.get_hashedMessage()) ||
      hresultOf([&] { copy.verify(fixedCertificate()); }) != fixed)
    fuzzFinding("a copy of a decoded token differs from it");
}

}  // namespace

void runRequest(const std::uint8_t* data, std::size_t size) {
  CRequest request;
  const CBigInteger earlier("0x2A");
  request.put_nonce(&earlier);
  const HRESULT hr = hresultOf([&] { request.decode(blobOf(data, size)); });
  if (hr == E_INVALIDARG && size == 0) {
    if (request.get_nonce() == nullptr) fuzzFinding("an empty input changed the request");
    return;
  }
  if (hr == CRYPT_E_ASN1_INTERNAL) {
    if (!isDefaultRequest(request)) fuzzFinding("a refused request is not a default one");
    return;
  }
  if (hr == E_INVALIDARG) {  // the policy is no identifier: it and what follows stay absent
    if (request.get_reqPolicy() != nullptr || request.get_nonce() != nullptr ||
        request.get_extensions() != nullptr)
      fuzzFinding("a request refused for its policy keeps later fields");
    return;
  }
  if (hr != S_OK) fuzzFinding("CRequest::decode fails with an unexpected code");

  CRequest again;
  if (hresultOf([&] { again.decode(request.encode()); }) != S_OK)
    fuzzFinding("a request we read is no request we can write");
  if (again.get_hashedMessage() != request.get_hashedMessage() ||
      again.get_certReq() != request.get_certReq() ||
      (again.get_nonce() == nullptr) != (request.get_nonce() == nullptr))
    fuzzFinding("a request reads back with other fields");
}

void runResponse(const std::uint8_t* data, std::size_t size) {
  CResponse response;
  response.put_status(CPKIStatusInfo(Zanthorel::ASN1::grantedWithMods));
  const CBlob input = blobOf(data, size);
  const HRESULT hr = hresultOf([&] { response.decode(input); });
  const CToken* token = response.get_timeStampToken();
  if (hr == E_INVALIDARG && size == 0) {
    if (response.get_status().get_status() != Zanthorel::ASN1::grantedWithMods)
      fuzzFinding("an empty input changed the response");
    return;
  }
  if (hr != S_OK) {
    // A token that failed to decode holds no message; a codec failure leaves none at all.
    if (token != nullptr && hresultOf([&] { token->verify(fixedCertificate()); }) != E_FAIL)
      fuzzFinding("a response that failed to decode holds a verifiable token");
    return;
  }
  if (token != nullptr) checkToken(*token, token->encode(), S_OK);

  // What we read we write, and what we write reads back to the same bytes.
  CBlob written;
  if (hresultOf([&] { written = response.encode(); }) != S_OK)
    fuzzFinding("a decoded response does not encode");
  CResponse again;
  if (hresultOf([&] { again.decode(written); }) != S_OK || !(again.encode() == written) ||
      !(again.get_status() == response.get_status()))
    fuzzFinding("a response reads back with other fields");
}

void runToken(const std::uint8_t* data, std::size_t size) {
  CToken token;
  const CBlob input = blobOf(data, size);
  checkToken(token, input, hresultOf([&] { token.decode(input); }));
}

}  // namespace zttsp_fuzz
