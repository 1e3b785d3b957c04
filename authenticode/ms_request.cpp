#include "authenticode/ms_request.h"

#include <memory>
#include <string>

#include "frame/errors.h"
#include "frame/record.h"
#include "outside/asn1/authenticode.h"
#include "outside/ztasn1/object_identifier.h"

namespace Zanthorel {
namespace PKI {
namespace TSP {

using ASN1::CAttributes;
using ASN1::CContentInfo;

struct CMSRequestImpl {
  std::string timeStampAlgorithm;
  std::unique_ptr<CAttributes> attributes;
  CContentInfo contentInfo;

  CMSRequestImpl() = default;
  CMSRequestImpl(const CMSRequestImpl& other)
      : timeStampAlgorithm(other.timeStampAlgorithm),
        attributes(other.attributes ? std::make_unique<CAttributes>(*other.attributes) : nullptr),
        contentInfo(other.contentInfo) {}
};

CMSRequest::CMSRequest() : impl_(new CMSRequestImpl) {}

CMSRequest::CMSRequest(const char* timeStampAlgorithm, const CContentInfo& contentInfo)
    : impl_(newRecord<CMSRequestImpl>([&](CMSRequestImpl& record) {
        record.timeStampAlgorithm = timeStampAlgorithm;
        record.contentInfo = contentInfo;
      })) {}

CMSRequest::CMSRequest(const CMSRequest& other) : impl_(copyRecord(other.impl_)) {}

CMSRequest& CMSRequest::operator=(const CMSRequest& other) {
  assignRecord(impl_, other.impl_);
  return *this;
}

CMSRequest::~CMSRequest() {
  clear();
}

void CMSRequest::clear() {
  releaseRecord(impl_);
}

const char* CMSRequest::get_timeStampAlgorithm() const {
  return impl_->timeStampAlgorithm.c_str();
}

void CMSRequest::put_timeStampAlgorithm(const char* timeStampAlgorithm) {
  impl_->timeStampAlgorithm = timeStampAlgorithm;
}

const CContentInfo& CMSRequest::get_contentInfo() const {
  return impl_->contentInfo;
}

void CMSRequest::put_contentInfo(const CContentInfo& contentInfo) {
  impl_->contentInfo = contentInfo;
}

const CAttributes* CMSRequest::get_attributes() const {
  return impl_->attributes.get();
}

void CMSRequest::put_attributes(const CAttributes* attributes) {
  // The copy is made before the old list goes, so the object's own list may be passed.
  impl_->attributes = attributes != nullptr ? std::make_unique<CAttributes>(*attributes) : nullptr;
}

CBlob CMSRequest::encode() const {
  ASN1BEREncodeBuffer buffer;
  ASN1BERDecodeBuffer arena;  // holds what filling the structure allocates
  ASN1CTXT* ctxt = arena.getCtxtPtr();
  ASN1T_TimeStampAuthenticodeRequest request{};
  const CMSRequestImpl& r = *impl_;

  ASN1::ASN1TObjId_traits::set(ctxt, request.countersignatureType, r.timeStampAlgorithm.c_str());
  ASN1::ASN1T_ContentInfo_traits::set(ctxt, request.content, r.contentInfo);
  if (r.attributes && !r.attributes->empty()) {
    request.m.attributesPresent = 1;
    ASN1::ASN1T_Attributes_traits::set(ctxt, request.attributes, *r.attributes);
  }

  const int length = ASN1C_TimeStampAuthenticodeRequest(buffer, request).Encode();
  if (length < 0) ThrowHResult(CRYPT_E_ASN1_INTERNAL);
  return CBlob(buffer.getMsgPtr(), static_cast<std::uint32_t>(length));
}

void CMSRequest::decode(const CBlob& encoded) {
  ASN1BERDecodeBuffer buffer(encoded.pbData(), encoded.cbData());
  ASN1T_TimeStampAuthenticodeRequest request;
  if (ASN1C_TimeStampAuthenticodeRequest(buffer, request).Decode() < 0)
    ThrowHResult(CRYPT_E_ASN1_INTERNAL);

  // Each field is replaced as soon as it is converted, in the order of the message.
  CMSRequestImpl& r = *impl_;
  std::string timeStampAlgorithm;
  ASN1::ASN1TObjId_traits::get(request.countersignatureType, timeStampAlgorithm);
  r.timeStampAlgorithm = std::move(timeStampAlgorithm);
  CContentInfo contentInfo;
  ASN1::ASN1T_ContentInfo_traits::get(request.content, contentInfo);
  r.contentInfo = std::move(contentInfo);
  if (request.m.attributesPresent) {
    auto attributes = std::make_unique<CAttributes>();
    ASN1::ASN1T_Attributes_traits::get(request.attributes, *attributes);
    r.attributes = std::move(attributes);
  } else {
    r.attributes.reset();
  }
}

}  // namespace TSP
}  // namespace PKI
}  // namespace Zanthorel
