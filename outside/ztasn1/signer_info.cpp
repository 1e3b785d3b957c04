#include "outside/ztasn1/signer_info.h"

#include "outside/ztasn1/algorithm_conversions.h"
#include "outside/ztasn1/integer_conversions.h"
#include "outside/ztasn1/ztasn1_errors.h"

namespace Zanthorel {
namespace ASN1 {
namespace {

std::unique_ptr<CAttributes> copyOf(const std::unique_ptr<CAttributes>& source) {
  return source ? std::make_unique<CAttributes>(*source) : nullptr;
}

}  // namespace

CSignerInfo::CSignerInfo() = default;

CSignerInfo::CSignerInfo(const CSignerInfo& other)
    : version_(other.version_),
      sidType_(other.sidType_),
      issuer_(other.issuer_),
      serialNumber_(other.serialNumber_),
      subjectKeyIdentifier_(other.subjectKeyIdentifier_),
      digestAlgorithm_(other.digestAlgorithm_),
      signedAttributes_(copyOf(other.signedAttributes_)),
      signatureAlgorithm_(other.signatureAlgorithm_),
      signature_(other.signature_),
      unsignedAttributes_(copyOf(other.unsignedAttributes_)) {}

CSignerInfo& CSignerInfo::operator=(const CSignerInfo& other) {
  if (this != &other) {
    CSignerInfo copy(other);
    swap(copy);
  }
  return *this;
}

void CSignerInfo::swap(CSignerInfo& other) noexcept {
  std::swap(version_, other.version_);
  std::swap(sidType_, other.sidType_);
  issuer_.swap(other.issuer_);
  std::swap(serialNumber_, other.serialNumber_);
  subjectKeyIdentifier_.swap(other.subjectKeyIdentifier_);
  digestAlgorithm_.swap(other.digestAlgorithm_);
  signedAttributes_.swap(other.signedAttributes_);
  signatureAlgorithm_.swap(other.signatureAlgorithm_);
  signature_.swap(other.signature_);
  unsignedAttributes_.swap(other.unsignedAttributes_);
}

CSignerInfo::~CSignerInfo() = default;

void ASN1T_SignerInfo_traits::get(const ASN1T_SignerInfo& source, CSignerInfo& target) {
  CSignerInfo result;
  result.version_ = ASN1BigIntegerToDWORD(source.version);
  if (source.sid.t == T_SignerIdentifier_issuerAndSerialNumber) {
    result.sidType_ = CSignerInfo::issuerAndSerialNumber;
    const ASN1T_IssuerAndSerialNumber& id = *source.sid.u.issuerAndSerialNumber;
    result.issuer_.assign(id.issuer.data, id.issuer.numocts);
    result.serialNumber_ =
        CBigInteger::fromTwosComplement(id.serialNumber.data, id.serialNumber.numocts);
  } else if (source.sid.t == T_SignerIdentifier_subjectKeyIdentifier) {
    result.sidType_ = CSignerInfo::subjectKeyIdentifier;
    result.subjectKeyIdentifier_ =
        CBlob(source.sid.u.subjectKeyIdentifier->data, source.sid.u.subjectKeyIdentifier->numocts);
  }
  ASN1T_AlgorithmIdentifier_get(result.digestAlgorithm_, source.digestAlgorithm);
  if (source.m.signedAttrsPresent) {
    result.signedAttributes_ = std::make_unique<CAttributes>();
    ASN1T_Attributes_traits::get(source.signedAttrs, *result.signedAttributes_);
  }
  ASN1T_AlgorithmIdentifier_get(result.signatureAlgorithm_, source.signatureAlgorithm);
  result.signature_ = CBlob(source.signature.data, source.signature.numocts);
  if (source.m.unsignedAttrsPresent) {
    result.unsignedAttributes_ = std::make_unique<CAttributes>();
    ASN1T_Attributes_traits::get(source.unsignedAttrs, *result.unsignedAttributes_);
  }
  target.swap(result);
}

}  // namespace ASN1
}  // namespace Zanthorel
