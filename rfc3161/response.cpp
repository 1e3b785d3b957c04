#include "rfc3161/response.h"

#include <memory>

#include "frame/errors.h"
#include "frame/record.h"
#include "outside/asn1/tsp.h"
#include "sdk/win32.h"

using Zanthorel::BER::BerReader;

namespace Zanthorel {
namespace PKI {
namespace TSP {

using ASN1::CPKIStatusInfo;

struct CResponseImpl {
  CPKIStatusInfo status{ASN1::rejection};
  std::unique_ptr<CToken> timeStampToken;

  CResponseImpl() = default;
  CResponseImpl(const CResponseImpl& other)
      : status(other.status),
        timeStampToken(other.timeStampToken ? std::make_unique<CToken>(*other.timeStampToken)
                                            : nullptr) {}
  CResponseImpl& operator=(const CResponseImpl&) = delete;
};

CResponse::CResponse() : impl_(new CResponseImpl) {}

CResponse::CResponse(const CResponse& other) : impl_(copyRecord(other.impl_)) {}

CResponse& CResponse::operator=(const CResponse& other) {
  assignRecord(impl_, other.impl_);
  return *this;
}

CResponse::~CResponse() {
  clear();
}

void CResponse::clear() {
  releaseRecord(impl_);
}

const CPKIStatusInfo& CResponse::get_status() const {
  return impl_->status;
}

void CResponse::put_status(const CPKIStatusInfo& status) {
  impl_->status = status;
}

const CToken* CResponse::get_timeStampToken() const {
  return impl_->timeStampToken.get();
}

void CResponse::put_timeStampToken(const CToken* timeStampToken) {
  impl_->timeStampToken =
      timeStampToken != nullptr ? std::make_unique<CToken>(*timeStampToken) : nullptr;
}

// The token's own encoding is embedded as it is when it is the codec's writing of one ContentInfo,
// as tokens that were signed or decoded here always are; other ContentInfo bytes are written as
// the codec writes them, and bytes that are no ContentInfo refused.
CBlob CResponse::encode() const {
  ASN1T_TimeStampResp response;
  ASN1BEREncodeBuffer out;
  ASN1::ASN1T_PKIStatusInfo_traits::set(out.getCtxtPtr(), response.status, impl_->status);

  // The structure points into these bytes until the response is encoded.
  CBlob tokenBytes;
  if (impl_->timeStampToken) {
    tokenBytes = impl_->timeStampToken->encode();
    const ASN1OpenType token{tokenBytes.cbData(), tokenBytes.pbData()};
    ASN1CTXT ctxt;
    BerReader in(token.data, token.numocts, &ctxt);
    if (!asn1D_ContentInfo(in, response.timeStampToken) || !in.finish())
      ThrowHResult(CRYPT_E_ASN1_INTERNAL);
    response.m.timeStampTokenPresent = 1;
    if (asn1IsDerContentInfo(token)) response.timeStampTokenElement = token;
  }

  const int length = ASN1C_TimeStampResp(out, response).Encode();
  if (length <= 0) ThrowHResult(CRYPT_E_ASN1_INTERNAL);
  return CBlob(out.getMsgPtr(), static_cast<std::uint32_t>(length));
}

// The token gets the ContentInfo as the codec writes it: the octets received when they are that
// already, as a DER ContentInfo is, and their writing by the codec otherwise.
void CResponse::decode(const CBlob& encoded) {
  if (encoded.cbData() == 0 || encoded.pbData() == nullptr) ThrowHResult(E_INVALIDARG);
  renewRecord(impl_);

  ASN1T_TimeStampResp response;
  ASN1BERDecodeBuffer in(encoded.pbData(), encoded.cbData());
  if (ASN1C_TimeStampResp(in, response).Decode() < 0) ThrowHResult(CRYPT_E_ASN1_INTERNAL);
  ASN1::ASN1T_PKIStatusInfo_traits::get(response.status, impl_->status);
  if (!response.m.timeStampTokenPresent) return;

  const ASN1OpenType& received = response.timeStampTokenElement;
  CBlob tokenBytes;
  if (asn1IsDerContentInfo(received)) {
    tokenBytes.assign(received.data, received.numocts);
  } else {
    ASN1BEREncodeBuffer tokenOut;
    const int length = ASN1C_TimeStampToken(tokenOut, response.timeStampToken).Encode();
    if (length <= 0) ThrowHResult(CRYPT_E_ASN1_INTERNAL);
    tokenBytes.assign(tokenOut.getMsgPtr(), static_cast<std::uint32_t>(length));
  }
  impl_->timeStampToken = std::make_unique<CToken>();
  impl_->timeStampToken->decode(tokenBytes);
}

}  // namespace TSP
}  // namespace PKI
}  // namespace Zanthorel
