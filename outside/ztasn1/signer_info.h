// CSignerInfo: what a CMS or PKCS #7 signer declares about its signature.
#pragma once

#include <memory>

#include "outside/asn1/cms.h"
#include "outside/ztasn1/algorithm_identifier.h"
#include "outside/ztasn1/attributes.h"
#include "outside/ztasn1/big_integer.h"
#include "sdk/export.h"

namespace Zanthorel {
namespace ASN1 {

class ZTASN1_API CSignerInfo {
 public:
  enum SignerIdType { none = 0, issuerAndSerialNumber = 1, subjectKeyIdentifier = 2 };

  CSignerInfo();
  CSignerInfo(const CSignerInfo& other);
  CSignerInfo& operator=(const CSignerInfo& other);
  ~CSignerInfo();

  std::uint32_t get_version() const noexcept { return version_; }
  SignerIdType get_sidType() const noexcept { return sidType_; }
  // The Name of the signer certificate's issuer as the signer carries it (issuerAndSerialNumber).
  const CBlob& get_issuer() const noexcept { return issuer_; }
  const CBigInteger& get_serialNumber() const noexcept { return serialNumber_; }
  const CBlob& get_subjectKeyIdentifier() const noexcept { return subjectKeyIdentifier_; }
  const CAlgorithmIdentifier& get_digestAlgorithm() const noexcept { return digestAlgorithm_; }
  // Null when the signer has none.
  const CAttributes* get_signedAttributes() const noexcept { return signedAttributes_.get(); }
  const CAlgorithmIdentifier& get_signatureAlgorithm() const noexcept {
    return signatureAlgorithm_;
  }
  const CBlob& get_signature() const noexcept { return signature_; }
  const CAttributes* get_unsignedAttributes() const noexcept { return unsignedAttributes_.get(); }

 private:
  friend struct ASN1T_SignerInfo_traits;

  void swap(CSignerInfo& other) noexcept;

  std::uint32_t version_ = 0;
  SignerIdType sidType_ = none;
  CBlob issuer_;
  CBigInteger serialNumber_;
  CBlob subjectKeyIdentifier_;
  CAlgorithmIdentifier digestAlgorithm_;
  std::unique_ptr<CAttributes> signedAttributes_;
  CAlgorithmIdentifier signatureAlgorithm_;
  CBlob signature_;
  std::unique_ptr<CAttributes> unsignedAttributes_;
};

struct ZTASN1_API ASN1T_SignerInfo_traits {
  // Replaces `target` with the signer described by `source`. Throws E_INVALIDARG when an
  // identifier in it has no dotted form.
  static void get(const ASN1T_SignerInfo& source, CSignerInfo& target);
};

// Encoding and decoding one structure through its control class.
template <class TStruct, class TControl>
struct CCodeClassT {
  // Decodes the whole buffer into `target`: 0, or a negative status.
  static int decode(ASN1BERDecodeBuffer& buffer, TStruct& target) {
    return TControl(buffer, target).Decode();
  }
  // Encodes `source` into the buffer: the length, or a negative status.
  static int encode(ASN1BEREncodeBuffer& buffer, TStruct& source) {
    return TControl(buffer, source).Encode();
  }
};

}  // namespace ASN1
}  // namespace Zanthorel
