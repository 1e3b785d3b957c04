#include "rfc3161/token.h"

#include <memory>

#include "frame/record.h"
#include "rfc3161/token_impl.h"
#include "rfc3161/tstinfo_mapping.h"

namespace Zanthorel {
namespace PKI {
namespace TSP {

using ASN1::CAlgorithmIdentifierEx;
using ASN1::CAttributes;
using ASN1::CBigInteger;
using ASN1::CExtensions;
using ASN1::CGeneralName;
using ASN1::CSignerInfo;

namespace {

// The writers' rule: the decoded bytes go first, then the copy replaces the old value.
template <class T>
void replace(CTokenImpl& token, std::unique_ptr<T>& field, const T* value) {
  token.encoded.clear();
  field = value != nullptr ? std::make_unique<T>(*value) : nullptr;
}

template <class T>
void replace(CTokenImpl& token, std::shared_ptr<const T>& field, const T* value) {
  token.encoded.clear();
  field = value != nullptr ? std::make_shared<const T>(*value) : nullptr;
}

}  // namespace

CAccuracy::CAccuracy(std::uint32_t seconds, std::uint32_t millis, std::uint32_t micros) {
  const std::uint32_t totalMillis = millis + micros / 1000;
  this->micros = micros % 1000;
  this->millis = totalMillis % 1000;
  this->seconds = seconds + totalMillis / 1000;
}

bool operator==(const CAccuracy& a, const CAccuracy& b) {
  return a.seconds == b.seconds && a.millis == b.millis && a.micros == b.micros;
}

bool operator!=(const CAccuracy& a, const CAccuracy& b) {
  return !(a == b);
}

// The TSTInfo fields travel through the codec's structure, as they would through an encoding; the
// lists and the signer, which nothing changes in place, are shared.
CTokenImpl::CTokenImpl(const CTokenImpl& other)
    : signedAttributes(other.signedAttributes),
      unsignedAttributes(other.unsignedAttributes),
      certificates(other.certificates),
      signer(other.signer),
      encoded(other.encoded) {
  ASN1BERDecodeBuffer arena;
  ASN1T_TSTInfo tstInfo;
  setTSTInfo(other, tstInfo, arena.getCtxtPtr());
  getTSTInfo(*this, tstInfo);
  // Last, once nothing can throw: a constructor that throws would not close it.
  if (other.message != nullptr) message = CryptMsgDuplicate(other.message);
}

CToken::CToken() : impl_(new CTokenImpl) {}

CToken::CToken(const char* policy, const CAlgorithmIdentifierEx& hashAlgorithm,
               const CBlob& hashedMessage, const CBigInteger& serialNumber,
               const CDateTime& genTime, bool ordering)
    : impl_(newRecord<CTokenImpl>([&](CTokenImpl& record) {
        record.policy = policy;
        record.hashAlgorithm = hashAlgorithm;
        record.hashedMessage = hashedMessage;
        record.serialNumber = serialNumber;
        record.genTime = genTime.getGeneralizedTime().c_str();
        record.ordering = ordering;
      })) {}

CToken::CToken(const CToken& other) : impl_(copyRecord(other.impl_)) {}

// Unlike the other classes' assignment, the old record and its message go before the copy is
// made: a copy that fails leaves a default token.
CToken& CToken::operator=(const CToken& other) {
  if (impl_ != other.impl_) {
    renewRecord(impl_);
    assignRecord(impl_, other.impl_);
  }
  return *this;
}

CToken::~CToken() {
  clear();
}

void CToken::clear() {
  releaseRecord(impl_);
}

std::uint32_t CToken::get_version() const {
  return impl_->version;
}

const char* CToken::get_policy() const {
  return impl_->policy.c_str();
}

const CAlgorithmIdentifierEx& CToken::get_hashAlgorithm() const {
  return impl_->hashAlgorithm;
}

const CBlob& CToken::get_hashedMessage() const {
  return impl_->hashedMessage;
}

const CBigInteger& CToken::get_serialNumber() const {
  return impl_->serialNumber;
}

CDateTime CToken::get_genTime() const {
  return CDateTime(impl_->genTime.c_str());
}

const char* CToken::get_genTimeZ() const {
  return impl_->genTime.c_str();
}

bool CToken::get_ordering() const {
  return impl_->ordering;
}

const CAccuracy* CToken::get_accuracy() const {
  return impl_->accuracy.get();
}

const CBigInteger* CToken::get_nonce() const {
  return impl_->nonce.get();
}

const CGeneralName* CToken::get_tsa() const {
  return impl_->tsa.get();
}

const CExtensions* CToken::get_extensions() const {
  return impl_->extensions.get();
}

const CAttributes* CToken::get_signedAttributes() const {
  return impl_->signedAttributes.get();
}

const CAttributes* CToken::get_unsignedAttributes() const {
  return impl_->unsignedAttributes.get();
}

const CBlobList* CToken::get_certificates() const {
  return impl_->certificates.get();
}

const CSignerInfo& CToken::get_signerInfo() const {
  return impl_->signer ? impl_->signer->get() : impl_->noSigner;
}

void CToken::put_accuracy(const CAccuracy* accuracy) {
  replace(*impl_, impl_->accuracy, accuracy);
}

void CToken::put_nonce(const CBigInteger* nonce) {
  replace(*impl_, impl_->nonce, nonce);
}

void CToken::put_tsa(const CGeneralName* tsa) {
  replace(*impl_, impl_->tsa, tsa);
}

void CToken::put_extensions(const CExtensions* extensions) {
  replace(*impl_, impl_->extensions, extensions);
}

void CToken::put_signedAttributes(const CAttributes* signedAttributes) {
  replace(*impl_, impl_->signedAttributes, signedAttributes);
}

void CToken::put_unsignedAttributes(const CAttributes* unsignedAttributes) {
  replace(*impl_, impl_->unsignedAttributes, unsignedAttributes);
}

void CToken::put_certificates(const CBlobList* certificates) {
  replace(*impl_, impl_->certificates, certificates);
}

}  // namespace TSP
}  // namespace PKI
}  // namespace Zanthorel
