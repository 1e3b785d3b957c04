#include "rfc3161/request.h"

#include <memory>
#include <string>

#include "frame/errors.h"
#include "frame/record.h"
#include "outside/asn1/tsp.h"
#include "outside/ztasn1/algorithm_conversions.h"
#include "outside/ztasn1/integer_conversions.h"
#include "outside/ztasn1/object_identifier.h"
#include "outside/ztasn1/ztasn1_errors.h"

namespace Zanthorel {
namespace PKI {
namespace TSP {

using ASN1::CAlgorithmIdentifierEx;
using ASN1::CBigInteger;
using ASN1::CExtensions;

struct CRequestImpl {
  std::uint32_t version = 1;
  CAlgorithmIdentifierEx hashAlgorithm;
  CBlob hashedMessage;
  bool certReq = false;
  std::unique_ptr<std::string> reqPolicy;
  std::unique_ptr<CBigInteger> nonce;
  std::unique_ptr<CExtensions> extensions;

  CRequestImpl() = default;
  CRequestImpl(const CRequestImpl& other)
      : version(other.version),
        hashAlgorithm(other.hashAlgorithm),
        hashedMessage(other.hashedMessage),
        certReq(other.certReq),
        reqPolicy(copyOf(other.reqPolicy)),
        nonce(copyOf(other.nonce)),
        extensions(copyOf(other.extensions)) {}

  template <class T>
  static std::unique_ptr<T> copyOf(const std::unique_ptr<T>& source) {
    return source ? std::make_unique<T>(*source) : nullptr;
  }
};

CRequest::CRequest() : impl_(new CRequestImpl) {}

CRequest::CRequest(const CAlgorithmIdentifierEx& hashAlgorithm, const CBlob& hashedMessage,
                   bool certReq)
    : impl_(newRecord<CRequestImpl>([&](CRequestImpl& record) {
        record.hashAlgorithm = hashAlgorithm;
        record.hashedMessage = hashedMessage;
        record.certReq = certReq;
      })) {}

CRequest::CRequest(const CRequest& other) : impl_(copyRecord(other.impl_)) {}

CRequest& CRequest::operator=(const CRequest& other) {
  assignRecord(impl_, other.impl_);
  return *this;
}

CRequest::~CRequest() {
  clear();
}

void CRequest::clear() {
  releaseRecord(impl_);
}

std::uint32_t CRequest::get_version() const {
  return impl_->version;
}

const CAlgorithmIdentifierEx& CRequest::get_hashAlgorithm() const {
  return impl_->hashAlgorithm;
}

const CBlob& CRequest::get_hashedMessage() const {
  return impl_->hashedMessage;
}

bool CRequest::get_certReq() const {
  return impl_->certReq;
}

const char* CRequest::get_reqPolicy() const {
  return impl_->reqPolicy ? impl_->reqPolicy->c_str() : nullptr;
}

const CBigInteger* CRequest::get_nonce() const {
  return impl_->nonce.get();
}

const CExtensions* CRequest::get_extensions() const {
  return impl_->extensions.get();
}

void CRequest::put_reqPolicy(const char* reqPolicy) {
  impl_->reqPolicy = reqPolicy != nullptr ? std::make_unique<std::string>(reqPolicy) : nullptr;
}

void CRequest::put_nonce(const CBigInteger* nonce) {
  impl_->nonce = nonce != nullptr ? std::make_unique<CBigInteger>(*nonce) : nullptr;
}

void CRequest::put_extensions(const CExtensions* extensions) {
  impl_->extensions = extensions != nullptr ? std::make_unique<CExtensions>(*extensions) : nullptr;
}

CBlob CRequest::encode() const {
  ASN1T_TimeStampReq request;
  ASN1BEREncodeBuffer buffer;
  ASN1CTXT* ctxt = buffer.getCtxtPtr();
  const CRequestImpl& r = *impl_;

  request.version = ASN1::DWORDToASN1BigInteger(ctxt, r.version);
  request.messageImprint.hashAlgorithm = ASN1::ASN1T_AlgorithmIdentifier_set(
      ctxt, r.hashAlgorithm.get_algorithm(), &r.hashAlgorithm.get_parameters());
  request.messageImprint.hashedMessage = {
      r.hashedMessage.cbData(),
      ASN1::copyToContext(ctxt, r.hashedMessage.pbData(), r.hashedMessage.cbData())};
  request.certReq = r.certReq;
  if (r.reqPolicy) {
    request.m.reqPolicyPresent = 1;
    ASN1::ASN1TObjId_traits::set(ctxt, request.reqPolicy, r.reqPolicy->c_str());
  }
  if (r.nonce) {
    request.m.noncePresent = 1;
    request.nonce = ASN1::BigIntegerToASN1String(ctxt, *r.nonce);
  }
  if (r.extensions && !r.extensions->empty()) {
    request.m.extensionsPresent = 1;
    ASN1::ASN1T_Extensions_traits::set(ctxt, request.extensions, *r.extensions);
  }

  const int length = ASN1C_TimeStampReq(buffer, request).Encode();
  if (length <= 0) ThrowHResult(CRYPT_E_ASN1_INTERNAL);
  return CBlob(buffer.getMsgPtr(), static_cast<std::uint32_t>(length));
}

void CRequest::decode(const CBlob& encoded) {
  if (encoded.cbData() == 0 || encoded.pbData() == nullptr) ThrowHResult(E_INVALIDARG);
  renewRecord(impl_);

  ASN1T_TimeStampReq request;
  ASN1BERDecodeBuffer buffer(encoded.pbData(), encoded.cbData());
  if (ASN1C_TimeStampReq(buffer, request).Decode() != 0) ThrowHResult(CRYPT_E_ASN1_INTERNAL);

  CRequestImpl& r = *impl_;
  r.version = ASN1::ASN1BigIntegerToDWORD(request.version);
  ASN1::ASN1T_AlgorithmIdentifier_get(r.hashAlgorithm, request.messageImprint.hashAlgorithm);
  r.hashedMessage.assign(request.messageImprint.hashedMessage.data,
                         request.messageImprint.hashedMessage.numocts);
  r.certReq = request.certReq != 0;
  if (request.m.reqPolicyPresent) {
    std::string policy;
    if (!ASN1::oid2str(policy, &request.reqPolicy)) ThrowHResult(E_INVALIDARG);
    r.reqPolicy = std::make_unique<std::string>(std::move(policy));
  }
  if (request.m.noncePresent) {
    r.nonce = std::make_unique<CBigInteger>(ASN1::ASN1StringToBigInteger(request.nonce));
  }
  if (request.m.extensionsPresent) {
    auto extensions = std::make_unique<CExtensions>();
    ASN1::ASN1T_Extensions_traits::get(request.extensions, *extensions);
    r.extensions = std::move(extensions);
  }
}

}  // namespace TSP
}  // namespace PKI
}  // namespace Zanthorel
