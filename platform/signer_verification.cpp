#include "platform/signer_verification.h"

#include <cstring>
#include <string>

#include "outside/ztasn1/object_identifier.h"
#include "platform/api_guard.h"
#include "platform/serial_number.h"

using Zanthorel::BER::BerReader;

namespace Zanthorel {
namespace Platform {

namespace {

// Whether `signer` names `certificate` by issuer, compared as encoded, and serial number.
bool identifies(const CERT_INFO& certificate, const ASN1T_SignerInfo& signer) {
  if (signer.sid.t != T_SignerIdentifier_issuerAndSerialNumber) return false;
  const ASN1T_IssuerAndSerialNumber& id = *signer.sid.u.issuerAndSerialNumber;
  if (id.issuer.numocts != certificate.Issuer.cbData ||
      std::memcmp(id.issuer.data, certificate.Issuer.pbData, id.issuer.numocts) != 0)
    return false;
  const std::vector<BYTE> expected = bigEndianSerial(certificate.SerialNumber);
  return sameInteger(id.serialNumber.data, id.serialNumber.numocts, expected.data(),
                     expected.size());
}

std::string dotted(const ASN1OBJID& oid) {
  std::string text;
  ASN1::oid2str(text, &oid);
  return text;
}

// The one value of the one attribute `oid`; CRYPT_E_AUTH_ATTR_MISSING when there is none, and
// `ambiguous` when the attribute or its value is not single.
const ASN1OpenType& singleValue(const ASN1T_Attributes& attributes, const char* oid,
                                HRESULT ambiguous) {
  const ASN1T_Attribute* found = nullptr;
  for (const ASN1T_Attribute* attribute : rtSeqOfItems<ASN1T_Attribute>(attributes)) {
    if (!ASN1::oidEquals(attribute->attrType, oid)) continue;
    if (found != nullptr) fail(ambiguous);
    found = attribute;
  }
  if (found == nullptr) fail(CRYPT_E_AUTH_ATTR_MISSING);
  if (found->attrValues.count != 1) fail(ambiguous);
  return *static_cast<const ASN1OpenType*>(found->attrValues.head->data);
}

// Whether the one messageDigest attribute holds `contentDigest`.
bool holdsMessageDigest(const ASN1T_Attributes& attributes, const Digest& contentDigest) {
  const ASN1OpenType& value = singleValue(attributes, szOID_RSA_messageDigest, CRYPT_E_HASH_VALUE);
  ASN1CTXT ctxt;
  BerReader in(value.data, value.numocts, &ctxt);
  ASN1DynOctStr digest;
  return in.readOctetString(digest) && in.finish() && digest.numocts == contentDigest.size &&
         std::memcmp(digest.data, contentDigest.value, contentDigest.size) == 0;
}

// RFC 5652 asks for exactly one contentType attribute naming the content's type: without that
// check a signature over one kind of content could be passed off as one over another.
void checkContentType(const ASN1T_Attributes& attributes, const ASN1OBJID& contentType) {
  const ASN1OpenType& value =
      singleValue(attributes, szOID_RSA_contentType, CRYPT_E_UNEXPECTED_ENCODING);
  ASN1CTXT ctxt;
  BerReader in(value.data, value.numocts, &ctxt);
  ASN1OBJID type;
  if (!in.readObjId(type) || !in.finish() || type.numocts != contentType.numocts ||
      std::memcmp(type.data, contentType.data, type.numocts) != 0)
    fail(CRYPT_E_UNEXPECTED_ENCODING);
}

}  // namespace

void verifySigner(const std::vector<ASN1T_SignerInfo>& signers, const ASN1OBJID& contentType,
                  ByteSpan digestInput, ByteSpan otherDigestInput, const CERT_INFO& certificate) {
  std::size_t index = 0;
  while (index < signers.size() && !identifies(certificate, signers[index]))
    ++index;
  if (index == signers.size()) fail(CRYPT_E_SIGNER_NOT_FOUND);
  const ASN1T_SignerInfo& signer = signers[index];

  const std::shared_ptr<VerifyingKey> key = publicKeyOf(certificate.SubjectPublicKeyInfo);
  const EVP_MD* digest = digestByOid(dotted(signer.digestAlgorithm.algorithm));
  SignatureAlgorithm algorithm;
  if (digest == nullptr ||
      !signatureAlgorithmByOid(dotted(signer.signatureAlgorithm.algorithm), algorithm))
    fail(CRYPT_E_UNKNOWN_ALGO);
  const EVP_MD* signatureDigest = algorithm.digest != nullptr ? algorithm.digest : digest;

  const Digest contentDigest = computeDigest(digest, {digestInput});
  Digest signed_ = contentDigest;
  if (signer.m.signedAttrsPresent) {
    if (!holdsMessageDigest(signer.signedAttrs, contentDigest) &&
        (otherDigestInput.size == 0 ||
         !holdsMessageDigest(signer.signedAttrs, computeDigest(digest, {otherDigestInput}))))
      fail(CRYPT_E_HASH_VALUE);
    checkContentType(signer.signedAttrs, contentType);
    // The attributes as received, under the SET tag: re-sorting them would break the signatures
    // of authorities that send them unsorted.
    static const BYTE kSetTag = 0x31;
    const ASN1OpenType& received = signer.signedAttrsEncoding;
    signed_ =
        computeDigest(signatureDigest, {{&kSetTag, 1}, {received.data + 1, received.numocts - 1u}});
  } else if (signatureDigest != digest) {
    signed_ = computeDigest(signatureDigest, {digestInput});
  }
  const bool verified = verifyDigest(key->context(algorithm.scheme, signatureDigest).get(), signed_,
                                     {signer.signature.data, signer.signature.numocts});
  if (!verified) fail(NTE_BAD_SIGNATURE);
}

}  // namespace Platform
}  // namespace Zanthorel
