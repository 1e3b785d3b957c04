#include "platform/signed_encoder.h"

#include <cstring>
#include <string>

#include "outside/ztasn1/object_identifier.h"
#include "platform/api_guard.h"
#include "platform/arena.h"
#include "platform/asn1_errors.h"
#include "platform/param_output.h"
#include "platform/serial_number.h"

using Zanthorel::BER::BerReader;
using Zanthorel::BER::DerWriter;

namespace Zanthorel {
namespace Platform {

namespace {

constexpr DWORD kSignedInfoSize = 48;
constexpr DWORD kSignedInfoCmsSize = 64;
constexpr DWORD kSignerInfoSize = 96;
constexpr DWORD kSignerInfoCmsSize = 168;
constexpr ASN1TAG kTagContent = asn1ContextTag(0, true);
// CMSG_SIGNER_INFO_V1: the signer is named by issuer and serial number.
constexpr const char* kSignerInfoVersion = "1";

// The CMS-only tail of a signer block of 168 bytes.
struct SignerCmsFields {
  CERT_ID SignerId;
  CRYPT_ALGORITHM_IDENTIFIER HashEncryptionAlgorithm;
  void* pvHashEncryptionAuxInfo;
};

void setObjId(ASN1CTXT& arena, ASN1OBJID& oid, const char* text, HRESULT error) {
  try {
    ASN1::ASN1TObjId_traits::set(&arena, oid, text);
  } catch (const ATL::CAtlException&) {
    fail(error);
  }
}

bool isOneOf(const ASN1OBJID& oid, const char* a, const char* b) {
  return ASN1::oidEquals(oid, a) || ASN1::oidEquals(oid, b);
}

// The algorithm identifier written for signatures by `key` with `digest`: rsaEncryption with NULL
// parameters for RSA, ecdsa-with-SHA-n without parameters for EC.
ASN1T_AlgorithmIdentifier signatureAlgorithmFor(EVP_PKEY* key, const EVP_MD* digest,
                                                ASN1CTXT& scratch) {
  static const OSOCTET kNull[] = {0x05, 0x00};
  ASN1T_AlgorithmIdentifier algorithm{};
  if (EVP_PKEY_is_a(key, "EC")) {
    setObjId(scratch, algorithm.algorithm, ecdsaOidFor(digest), NTE_BAD_ALGID);
  } else {
    setObjId(scratch, algorithm.algorithm, szOID_RSA_RSA, NTE_BAD_ALGID);
    algorithm.m.parametersPresent = 1;
    algorithm.parameters = {sizeof kNull, kNull};
  }
  return algorithm;
}

// An attribute of one value, the DER element `tag` `value`.
ASN1T_Attribute* computedAttribute(ASN1CTXT& scratch, const char* oid, ASN1TAG tag,
                                   const OSOCTET* value, std::size_t size) {
  auto* attribute = allocInArena<ASN1T_Attribute>(scratch);
  setObjId(scratch, attribute->attrType, oid, E_FAIL);
  DerWriter element(&scratch);
  element.putElement(tag, value, size);
  auto* encoded = allocInArena<ASN1OpenType>(scratch);
  *encoded = {static_cast<OSUINT32>(element.size()),
              copyToArena(scratch, element.data(), element.size())};
  if (!element.ok() || !rtSeqOfAppend(&scratch, attribute->attrValues, encoded))
    fail(E_OUTOFMEMORY);
  return attribute;
}

void append(ASN1CTXT& arena, ASN1TSeqOfList& list, void* item) {
  if (!rtSeqOfAppend(&arena, list, item)) fail(E_OUTOFMEMORY);
}

bool sameOctets(const OSOCTET* a, OSUINT32 aSize, const OSOCTET* b, OSUINT32 bSize) {
  return aSize == bSize && (aSize == 0 || std::memcmp(a, b, aSize) == 0);
}

// digestAlgorithms names each algorithm once, however many signers use it.
bool listsAlgorithm(const ASN1TSeqOfList& list, const ASN1T_AlgorithmIdentifier& algorithm) {
  for (const ASN1T_AlgorithmIdentifier* listed : rtSeqOfItems<ASN1T_AlgorithmIdentifier>(list)) {
    if (sameOctets(listed->algorithm.data, listed->algorithm.numocts, algorithm.algorithm.data,
                   algorithm.algorithm.numocts) &&
        sameOctets(listed->parameters.data, listed->parameters.numocts, algorithm.parameters.data,
                   algorithm.parameters.numocts))
      return true;
  }
  return false;
}

}  // namespace

SignedEncoder::SignedEncoder(DWORD flags, const CMSG_SIGNED_ENCODE_INFO& info,
                             LPCSTR innerContentType) {
  if (info.cbSize != kSignedInfoSize && info.cbSize != kSignedInfoCmsSize) fail(E_INVALIDARG);
  if (info.cbSize == kSignedInfoCmsSize) {
    DWORD attributeCertificates = 0;  // cAttrCertEncoded, after the basic block
    std::memcpy(&attributeCertificates, reinterpret_cast<const BYTE*>(&info) + kSignedInfoSize,
                sizeof attributeCertificates);
    if (attributeCertificates != 0) fail(E_INVALIDARG);  // not supported
  }
  if ((info.cSigners != 0 && info.rgSigners == nullptr) ||
      (info.cCertEncoded != 0 && info.rgCertEncoded == nullptr) ||
      (info.cCrlEncoded != 0 && info.rgCrlEncoded == nullptr))
    fail(E_INVALIDARG);

  if (innerContentType != nullptr) {
    setObjId(arena_, innerType_, innerContentType, CRYPT_E_OID_FORMAT);
    dataContent_ = std::strcmp(innerContentType, szOID_RSA_data) == 0;
  } else {
    setObjId(arena_, innerType_, szOID_RSA_data, E_FAIL);
  }
  encapsulated_ = !dataContent_ && (flags & CMSG_CMS_ENCAPSULATED_CONTENT_FLAG) != 0;

  // PKCS #7 and CMS want signed attributes whenever the content is not data.
  const bool forceAuthAttributes =
      !dataContent_ || (flags & CMSG_AUTHENTICATED_ATTRIBUTES_FLAG) != 0;
  signers_.resize(info.cSigners);
  for (DWORD i = 0; i < info.cSigners; ++i) {
    copySigner(info.rgSigners[i], forceAuthAttributes, signers_[i]);
  }
  copyElements(info.rgCertEncoded, info.cCertEncoded, certificates_);
  copyElements(info.rgCrlEncoded, info.cCrlEncoded, crls_);

  // Nothing can fail from here on: the providers are taken last.
  for (Signer& signer : signers_) {
    if ((flags & CMSG_CRYPT_RELEASE_CONTEXT_FLAG) == 0) signer.provider->addRef();
  }
}

SignedEncoder::~SignedEncoder() {
  for (Signer& signer : signers_) {
    if (signer.provider != nullptr) signer.provider->release();
  }
}

void SignedEncoder::copySigner(const CMSG_SIGNER_ENCODE_INFO& info, bool forceAuthAttributes,
                               Signer& signer) {
  if (info.cbSize != kSignerInfoSize && info.cbSize != kSignerInfoCmsSize) fail(E_INVALIDARG);
  const CERT_INFO* cert = info.pCertInfo;
  if (cert == nullptr || cert->Issuer.cbData == 0 || cert->Issuer.pbData == nullptr ||
      cert->SerialNumber.cbData == 0 || cert->SerialNumber.pbData == nullptr)
    fail(E_INVALIDARG);
  if (info.cbSize == kSignerInfoCmsSize) {
    SignerCmsFields cms;
    std::memcpy(&cms, reinterpret_cast<const BYTE*>(&info) + kSignerInfoSize, sizeof cms);
    // Only the issuer-and-serial signer of the basic block is written.
    if ((cms.SignerId.dwIdChoice != 0 && cms.SignerId.dwIdChoice != CERT_ID_ISSUER_SERIAL_NUMBER) ||
        cms.HashEncryptionAlgorithm.pszObjId != nullptr)
      fail(E_INVALIDARG);
  }
  if (info.hCryptProv == 0 || info.pvHashAuxInfo != nullptr) fail(E_INVALIDARG);
  signer.digest =
      info.HashAlgorithm.pszObjId != nullptr ? digestByOid(info.HashAlgorithm.pszObjId) : nullptr;
  if (signer.digest == nullptr) fail(CRYPT_E_UNKNOWN_ALGO);
  signer.provider = Provider::fromHandle(info.hCryptProv);
  if (signer.provider == nullptr) fail(E_INVALIDARG);
  signer.keySpec = info.dwKeySpec;

  // digestAlgorithm: the caller's parameters, NULL when it gave none.
  static const OSOCTET kNull[] = {0x05, 0x00};
  setObjId(arena_, signer.digestAlgorithm.algorithm, info.HashAlgorithm.pszObjId,
           CRYPT_E_UNKNOWN_ALGO);
  signer.digestAlgorithm.m.parametersPresent = 1;
  const CRYPT_OBJID_BLOB& parameters = info.HashAlgorithm.Parameters;
  signer.digestAlgorithm.parameters = parameters.cbData != 0
                                          ? copyElement(parameters.pbData, parameters.cbData)
                                          : ASN1OpenType{sizeof kNull, kNull};

  // The certificate's issuer exactly as it is encoded there.
  signer.id.issuer = copyElement(cert->Issuer.pbData, cert->Issuer.cbData);
  const std::vector<BYTE> serial = bigEndianSerial(cert->SerialNumber);
  signer.id.serialNumber = {static_cast<OSUINT32>(serial.size()),
                            copyToArena(arena_, serial.data(), serial.size())};

  if ((info.cAuthAttr != 0 && info.rgAuthAttr == nullptr) ||
      (info.cUnauthAttr != 0 && info.rgUnauthAttr == nullptr))
    fail(E_INVALIDARG);
  copyAttributes(info.rgAuthAttr, info.cAuthAttr, true, signer.authAttributes);
  copyAttributes(info.rgUnauthAttr, info.cUnauthAttr, false, signer.unauthAttributes);
  signer.hasAuthAttributes = info.cAuthAttr != 0 || forceAuthAttributes;
}

// contentType and messageDigest are always computed: a caller's own (say, from a decoded
// message being signed again) would be stale or duplicate them.
void SignedEncoder::copyAttributes(const CRYPT_ATTRIBUTE* attributes, DWORD count,
                                   bool dropComputed, ASN1TSeqOfList& list) {
  for (DWORD i = 0; i < count; ++i) {
    const CRYPT_ATTRIBUTE& source = attributes[i];
    if (source.pszObjId == nullptr || (source.cValue != 0 && source.rgValue == nullptr))
      fail(E_INVALIDARG);
    auto* attribute = allocInArena<ASN1T_Attribute>(arena_);
    setObjId(arena_, attribute->attrType, source.pszObjId, CRYPT_E_OID_FORMAT);
    if (dropComputed &&
        isOneOf(attribute->attrType, szOID_RSA_contentType, szOID_RSA_messageDigest))
      continue;
    for (DWORD j = 0; j < source.cValue; ++j) {
      auto* value = allocInArena<ASN1OpenType>(arena_);
      *value = copyElement(source.rgValue[j].pbData, source.rgValue[j].cbData);
      append(arena_, attribute->attrValues, value);
    }
    append(arena_, list, attribute);
  }
}

void SignedEncoder::copyElements(const CERT_BLOB* blobs, DWORD count, ASN1TSeqOfList& list) {
  for (DWORD i = 0; i < count; ++i) {
    auto* element = allocInArena<ASN1OpenType>(arena_);
    *element = copyElement(blobs[i].pbData, blobs[i].cbData);
    append(arena_, list, element);
  }
}

// A copy of one complete BER element; anything else is refused.
ASN1OpenType SignedEncoder::copyElement(const BYTE* bytes, DWORD count) {
  if (bytes == nullptr || count == 0) fail(E_INVALIDARG);
  const OSOCTET* copy = copyToArena(arena_, bytes, count);
  ASN1CTXT check;
  BerReader in(copy, count, &check);
  ASN1OpenType element;
  if (!in.readOpenType(element) || !in.finish()) failWithAsn1Status(check);
  return element;
}

void SignedEncoder::update(const BYTE* data, DWORD size, bool final) {
  if (state_ != State::Open) fail(CRYPT_E_MSG_ERROR);
  if (data == nullptr && size != 0) fail(E_INVALIDARG);
  if (!final) {
    pending_.insert(pending_.end(), data, data + size);
    return;
  }
  state_ = State::Failed;
  if (!pending_.empty()) {
    pending_.insert(pending_.end(), data, data + size);
    sign({pending_.data(), pending_.size()});
  } else {
    sign({data, size});
  }
  std::vector<BYTE>().swap(pending_);
  state_ = State::Done;
}

// Data and CMS-form content is digested as given; PKCS #7-form content, one SEQUENCE placed under
// [0] as it is, by its value octets.
ByteSpan SignedEncoder::digestInput(ByteSpan content) const {
  if (dataContent_ || encapsulated_) return content;
  ASN1CTXT check;
  BerReader in(content.data, content.size, &check);
  BerReader value;  // a SEQUENCE, as decoding wants it
  if (!in.readSequence(value) || !in.finish()) failWithAsn1Status(check);
  return {value.position(), value.remaining()};
}

void SignedEncoder::sign(ByteSpan content) {
  ASN1CTXT scratch;
  const ByteSpan input = digestInput(content);
  for (Signer& signer : signers_) {
    signer.contentDigest = computeDigest(signer.digest, {input});
    signOne(signer, scratch);
  }
  writeMessage(content, scratch);
}

void SignedEncoder::signOne(Signer& signer, ASN1CTXT& scratch) {
  EVP_PKEY* key = signer.provider->key(signer.keySpec);

  ASN1TSeqOfList signedAttributes{};
  Digest toSign = signer.contentDigest;
  if (signer.hasAuthAttributes) {
    for (ASN1T_Attribute* attribute : rtSeqOfItems<ASN1T_Attribute>(signer.authAttributes)) {
      append(scratch, signedAttributes, attribute);
    }
    append(scratch, signedAttributes,
           computedAttribute(scratch, szOID_RSA_contentType, kTagObjectId, innerType_.data,
                             innerType_.numocts));
    append(scratch, signedAttributes,
           computedAttribute(scratch, szOID_RSA_messageDigest, kTagOctetString,
                             signer.contentDigest.value, signer.contentDigest.size));
    // The signature covers the DER SET OF; the SignerInfo carries the same set under [0].
    DerWriter set(&scratch);
    asn1E_Attributes(set, signedAttributes, kTagSet);
    if (!set.ok()) failWithAsn1Status(scratch);
    toSign = computeDigest(signer.digest, {{set.data(), set.size()}});
  }
  const std::vector<BYTE> signature =
      signDigest(signer.provider->signingContext(signer.keySpec, signer.digest).get(), toSign);

  ASN1T_SignerInfo info;
  info.version = kSignerInfoVersion;
  info.sid.t = T_SignerIdentifier_issuerAndSerialNumber;
  info.sid.u.issuerAndSerialNumber = &signer.id;
  info.digestAlgorithm = signer.digestAlgorithm;
  info.m.signedAttrsPresent = signer.hasAuthAttributes;
  info.signedAttrs = signedAttributes;
  info.signatureAlgorithm = signatureAlgorithmFor(key, signer.digest, scratch);
  info.signature = {static_cast<OSUINT32>(signature.size()), signature.data()};
  info.m.unsignedAttrsPresent = signer.unauthAttributes.count != 0;
  info.unsignedAttrs = signer.unauthAttributes;  // in the caller's order, as Windows writes them
  DerWriter out(&scratch);
  asn1E_SignerInfo(out, info);
  if (!out.ok()) failWithAsn1Status(scratch);
  signer.encoded.assign(out.data(), out.data() + out.size());
}

void SignedEncoder::writeMessage(ByteSpan content, ASN1CTXT& scratch) {
  ASN1T_SignedData signedData;
  signedData.version = encapsulated_ ? CMSG_SIGNED_DATA_V3 : CMSG_SIGNED_DATA_V1;
  for (Signer& signer : signers_) {
    if (!listsAlgorithm(signedData.digestAlgorithms, signer.digestAlgorithm))
      append(scratch, signedData.digestAlgorithms, &signer.digestAlgorithm);
    auto* encoded = allocInArena<ASN1OpenType>(scratch);
    *encoded = {static_cast<OSUINT32>(signer.encoded.size()), signer.encoded.data()};
    append(scratch, signedData.signerInfos, encoded);
  }

  // eContent: data and CMS-form content in an OCTET STRING, PKCS #7-form content as it is.
  ASN1T_EncapsulatedContentInfo& encap = signedData.encapContentInfo;
  encap.contentType = innerType_;
  encap.m.contentPresent = 1;
  DerWriter wrapped(&scratch);
  if (dataContent_ || encapsulated_) {
    wrapped.putOctetString({static_cast<OSUINT32>(content.size), content.data});
    encap.content = {static_cast<OSUINT32>(wrapped.size()), wrapped.data()};
  } else {
    encap.content = {static_cast<OSUINT32>(content.size), content.data};
  }
  signedData.m.certificatesPresent = certificates_.count != 0;
  signedData.certificates = certificates_;
  signedData.m.crlsPresent = crls_.count != 0;
  signedData.crls = crls_;

  // ContentInfo ::= SEQUENCE { contentType, content [0] EXPLICIT SignedData }
  ASN1OBJID signedDataType{};
  setObjId(scratch, signedDataType, szOID_RSA_signedData, E_FAIL);
  output_.reset();
  const std::size_t contentInfo = output_.open(kTagSequence);
  output_.putObjId(signedDataType);
  const std::size_t explicitContent = output_.open(kTagContent);
  asn1E_SignedData(output_, signedData);
  output_.close(explicitContent);
  output_.close(contentInfo);
  if (!wrapped.ok() || !output_.ok()) failWithAsn1Status(scratch);
}

// The SignedData inside the ContentInfo that was written.
ByteSpan SignedEncoder::bareContent() const {
  ASN1CTXT ctxt;
  BerReader in(output_.data(), output_.size(), &ctxt);
  BerReader contentInfo, explicitContent;
  ASN1OBJID type;
  in.readSequence(contentInfo) && contentInfo.readObjId(type) &&
      contentInfo.readConstructed(kTagContent, explicitContent);
  return {explicitContent.position(), explicitContent.remaining()};
}

void SignedEncoder::getParam(DWORD type, DWORD index, void* data, DWORD* size) {
  if (state_ != State::Done) fail(CRYPT_E_MSG_ERROR);
  switch (type) {
    case CMSG_CONTENT_PARAM:
      return outputBytes(output_.data(), static_cast<DWORD>(output_.size()), data, size);
    case CMSG_BARE_CONTENT_PARAM: {
      const ByteSpan bare = bareContent();
      return outputBytes(bare.data, static_cast<DWORD>(bare.size), data, size);
    }
    case CMSG_VERSION_PARAM:
      return outputDword(encapsulated_ ? CMSG_SIGNED_DATA_V3 : CMSG_SIGNED_DATA_V1, data, size);
    case CMSG_ENCODED_SIGNER:
    case CMSG_COMPUTED_HASH_PARAM: {
      if (index >= signers_.size()) fail(CRYPT_E_INVALID_INDEX);
      const Signer& signer = signers_[index];
      if (type == CMSG_COMPUTED_HASH_PARAM)
        return outputBytes(signer.contentDigest.value, signer.contentDigest.size, data, size);
      return outputBytes(signer.encoded.data(), static_cast<DWORD>(signer.encoded.size()), data,
                         size);
    }
    default:
      fail(CRYPT_E_INVALID_MSG_TYPE);
  }
}

void SignedEncoder::control(DWORD, DWORD, const void*) {
  fail(E_INVALIDARG);
}

}  // namespace Platform
}  // namespace Zanthorel

using Zanthorel::Platform::fail;

HCRYPTMSG WINAPI CryptMsgOpenToEncode(DWORD dwMsgEncodingType, DWORD dwFlags, DWORD dwMsgType,
                                      void const* pvMsgEncodeInfo, LPSTR pszInnerContentObjID,
                                      PCMSG_STREAM_INFO pStreamInfo) {
  return Zanthorel::Platform::guardedCall<HCRYPTMSG>(nullptr, [&]() -> HCRYPTMSG {
    if ((dwMsgEncodingType & PKCS_7_ASN_ENCODING) == 0) fail(E_INVALIDARG);
    if (dwMsgType != CMSG_SIGNED) fail(CRYPT_E_INVALID_MSG_TYPE);
    // Only whole, attached messages: no streaming, no detached or bare content.
    constexpr DWORD kSupportedFlags = CMSG_AUTHENTICATED_ATTRIBUTES_FLAG |
                                      CMSG_CMS_ENCAPSULATED_CONTENT_FLAG |
                                      CMSG_CRYPT_RELEASE_CONTEXT_FLAG;
    if (pvMsgEncodeInfo == nullptr || pStreamInfo != nullptr || (dwFlags & ~kSupportedFlags) != 0)
      fail(E_INVALIDARG);
    const auto& info = *static_cast<const CMSG_SIGNED_ENCODE_INFO*>(pvMsgEncodeInfo);
    return (new Zanthorel::Platform::SignedEncoder(dwFlags, info, pszInnerContentObjID))->handle();
  });
}
