#include "rfc3161/response.h"

#include <memory>

#include "frame/errors.h"
#include "outside/asn1/tsp.h"
#include "sdk/win32.h"

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

CResponse::CResponse(const CResponse& other) : impl_(new CResponseImpl(*other.impl_)) {}

CResponse& CResponse::operator=(const CResponse& other) {
  if (this != &other) {
    auto* copy = new CResponseImpl(*other.impl_);
    clear();
    impl_ = copy;
  }
  return *this;
}

CResponse::~CResponse() {
  clear();
}

void CResponse::clear() {
  delete impl_;
  impl_ = nullptr;
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

CBlob CResponse::encode() const {
  ASN1T_TimeStampResp response;
  ASN1BEREncodeBuffer out;
  ASN1BERDecodeBuffer tokenBuffer;
  ASN1::ASN1T_PKIStatusInfo_traits::set(out.getCtxtPtr(), response.status, impl_->status);

  // The decoded ContentInfo points into these bytes until the response is encoded.
  CBlob tokenBytes;
  if (impl_->timeStampToken) {
    tokenBytes = impl_->timeStampToken->encode();
    tokenBuffer.setBuffer(tokenBytes.pbData(), tokenBytes.cbData());
    ASN1T_ContentInfo contentInfo;
    if (ASN1C_TimeStampToken(tokenBuffer, contentInfo).Decode() < 0)
      ThrowHResult(CRYPT_E_ASN1_INTERNAL);
    response.m.timeStampTokenPresent = 1;
    response.timeStampToken = contentInfo;
  }

  const int length = ASN1C_TimeStampResp(out, response).Encode();
  if (length <= 0) ThrowHResult(CRYPT_E_ASN1_INTERNAL);
  return CBlob(out.getMsgPtr(), static_cast<std::uint32_t>(length));
}

void CResponse::decode(const CBlob& encoded) {
  if (encoded.cbData() == 0 || encoded.pbData() == nullptr) ThrowHResult(E_INVALIDARG);
  auto* fresh = new CResponseImpl;
  clear();
  impl_ = fresh;

  ASN1T_TimeStampResp response;
  ASN1BERDecodeBuffer in(encoded.pbData(), encoded.cbData());
  ASN1BEREncodeBuffer tokenOut;
  if (ASN1C_TimeStampResp(in, response).Decode() < 0) ThrowHResult(CRYPT_E_ASN1_INTERNAL);
  ASN1::ASN1T_PKIStatusInfo_traits::get(response.status, impl_->status);
  if (!response.m.timeStampTokenPresent) return;

  // The token gets the ContentInfo as the codec writes it, not the bytes received.
  const int length = ASN1C_TimeStampToken(tokenOut, response.timeStampToken).Encode();
  if (length <= 0) ThrowHResult(CRYPT_E_ASN1_INTERNAL);
  const CBlob tokenBytes(tokenOut.getMsgPtr(), static_cast<std::uint32_t>(length));
  impl_->timeStampToken = std::make_unique<CToken>();
  impl_->timeStampToken->decode(tokenBytes);
}

}  // namespace TSP
}  // namespace PKI
}  // namespace Zanthorel
