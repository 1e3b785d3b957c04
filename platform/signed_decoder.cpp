#include "platform/signed_decoder.h"

#include <string>

#include "outside/ztasn1/object_identifier.h"
#include "platform/api_guard.h"
#include "platform/asn1_errors.h"
#include "platform/attribute_buffer.h"
#include "platform/param_output.h"
#include "platform/signer_verification.h"

using Zanthorel::BER::BerReader;
using Zanthorel::BER::DerWriter;

namespace Zanthorel {
namespace Platform {

namespace {

constexpr ASN1TAG kTagContent = asn1ContextTag(0, true);

// The codec's first failure, or `fallback` when it recorded none.
[[noreturn]] void failDecoding(const ASN1CTXT& ctxt, HRESULT fallback) {
  if (ctxt.status != ASN_OK) failWithAsn1Status(ctxt);
  fail(fallback);
}

}  // namespace

SignedDecoder::~SignedDecoder() {
  if (provider_ != nullptr) provider_->release();
}

void SignedDecoder::update(const BYTE* data, DWORD size, bool final) {
  if (state_ != State::Open) fail(CRYPT_E_MSG_ERROR);
  if (data == nullptr && size != 0) fail(E_INVALIDARG);
  input_.insert(input_.end(), data, data + size);
  if (!final) return;
  state_ = State::Failed;
  decode();
  state_ = State::Done;
}

void SignedDecoder::decode() {
  // A lone identifier octet is a length missing, not a message cut short.
  if (input_.size() == 1) fail(CRYPT_E_ASN1_CORRUPT);
  // Bytes after the message are ignored: signatures in PE files carry padding.
  BerReader in(input_.data(), input_.size(), &ctxt_);
  if (messageType_ == CMSG_SIGNED) return readSignedData(in);
  if (messageType_ != 0) fail(CRYPT_E_INVALID_MSG_TYPE);

  // ContentInfo ::= SEQUENCE { contentType, content [0] EXPLICIT ANY }
  BerReader contentInfo, content;
  ASN1OBJID type;
  if (!in.readSequence(contentInfo) || !contentInfo.readObjId(type)) failDecoding(ctxt_, E_FAIL);
  if (!ASN1::oidEquals(type, szOID_RSA_signedData)) fail(CRYPT_E_INVALID_MSG_TYPE);
  if (!contentInfo.readConstructed(kTagContent, content)) failDecoding(ctxt_, E_FAIL);
  if (content.empty()) fail(CRYPT_E_ASN1_CORRUPT);
  readSignedData(content);
  if (!content.finish() || !contentInfo.finish()) failDecoding(ctxt_, E_FAIL);
}

void SignedDecoder::readSignedData(BerReader& in) {
  if (!asn1D_SignedData(in, signedData_)) failDecoding(ctxt_, E_FAIL);
  messageType_ = CMSG_SIGNED;
  signers_.resize(signedData_.signerInfos.count);
  std::size_t i = 0;
  for (const ASN1OpenType* encoding : rtSeqOfItems<ASN1OpenType>(signedData_.signerInfos)) {
    BerReader signer(encoding->data, encoding->numocts, &ctxt_);
    if (!asn1D_SignerInfo(signer, signers_[i++]) || !signer.finish()) failDecoding(ctxt_, E_FAIL);
    signerEncodings_.push_back(*encoding);
  }
  certificates_ = x509Choices(signedData_.certificates);
  crls_ = x509Choices(signedData_.crls);
  readContent();
}

// Data: the OCTET STRING's octets, for both the content and its digest. Other types: the element
// under [0], an OCTET STRING in the CMS form (digested by its octets) or the content SEQUENCE
// itself in the PKCS #7 form (digested by its value octets, as Windows signs it; a digest of the
// whole SEQUENCE, which Wine and signers thinking in CMS terms write, is accepted too).
void SignedDecoder::readContent() {
  const ASN1T_EncapsulatedContentInfo& encap = signedData_.encapContentInfo;
  dataContent_ = ASN1::oidEquals(encap.contentType, szOID_RSA_data);
  if (!encap.m.contentPresent) return;
  const ASN1OpenType& element = encap.content;
  BerReader in(element.data, element.numocts, &ctxt_);
  ASN1TAG tag = 0;
  if (dataContent_ || (in.peekTag(tag) && asn1Primitive(tag) == kTagOctetString)) {
    ASN1DynOctStr octets;
    if (!in.readOctetString(octets)) failDecoding(ctxt_, E_FAIL);
    digestInput_ = {octets.data, octets.numocts};
    content_ = digestInput_;
    if (dataContent_) return;
    content_ = {element.data, element.numocts};
    if (asn1IsConstructed(tag)) {  // handed out as one primitive string
      DerWriter out(&ctxt_);
      out.putOctetString(octets);
      if (!out.ok()) failDecoding(ctxt_, E_OUTOFMEMORY);
      rewrapped_.assign(out.data(), out.data() + out.size());
      content_ = {rewrapped_.data(), rewrapped_.size()};
    }
    return;
  }
  // Only the tag tells the two forms apart and the digest leaves it out, so the PKCS #7 form is
  // taken for a SEQUENCE only, as every content type it carries in practice is.
  BerReader value;
  if (!in.readSequence(value)) failDecoding(ctxt_, E_FAIL);
  content_ = {element.data, element.numocts};
  digestInput_ = {value.position(), value.remaining()};
  wholeContentInput_ = content_;
}

const ASN1T_SignerInfo& SignedDecoder::signer(DWORD index) const {
  if (index >= signers_.size()) fail(CRYPT_E_INVALID_INDEX);
  return signers_[index];
}

// Indexed once, so that reading every certificate is linear in their number.
std::vector<const ASN1OpenType*> SignedDecoder::x509Choices(const ASN1TSeqOfList& choices) {
  std::vector<const ASN1OpenType*> x509;
  for (const ASN1OpenType* choice : rtSeqOfItems<ASN1OpenType>(choices)) {
    if (asn1IsX509Choice(*choice)) x509.push_back(choice);
  }
  return x509;
}

void SignedDecoder::getParam(DWORD type, DWORD index, void* data, DWORD* size) {
  if (type == CMSG_TYPE_PARAM) return outputDword(messageType_, data, size);
  if (state_ != State::Done) fail(CRYPT_E_INVALID_MSG_TYPE);
  switch (type) {
    case CMSG_CONTENT_PARAM:
      return outputBytes(content_.data, static_cast<DWORD>(content_.size), data, size);
    case CMSG_INNER_CONTENT_TYPE_PARAM: {
      std::string oid;
      ASN1::ASN1TObjId_traits::get(signedData_.encapContentInfo.contentType, oid);
      return outputBytes(oid.c_str(), static_cast<DWORD>(oid.size() + 1), data, size);
    }
    case CMSG_SIGNER_COUNT_PARAM:
      return outputDword(static_cast<DWORD>(signers_.size()), data, size);
    case CMSG_ENCODED_SIGNER: {
      const ASN1OpenType& encoding = (signer(index), signerEncodings_[index]);
      return outputBytes(encoding.data, encoding.numocts, data, size);
    }
    case CMSG_SIGNER_AUTH_ATTR_PARAM: {
      const ASN1T_SignerInfo& info = signer(index);
      if (!info.m.signedAttrsPresent) fail(CRYPT_E_ATTRIBUTES_MISSING);
      return outputAttributes(info.signedAttrs, data, size);
    }
    case CMSG_SIGNER_UNAUTH_ATTR_PARAM: {
      const ASN1T_SignerInfo& info = signer(index);
      if (!info.m.unsignedAttrsPresent) fail(CRYPT_E_ATTRIBUTES_MISSING);
      return outputAttributes(info.unsignedAttrs, data, size);
    }
    case CMSG_CERT_COUNT_PARAM:
      return outputDword(static_cast<DWORD>(certificates_.size()), data, size);
    case CMSG_CRL_COUNT_PARAM:
      return outputDword(static_cast<DWORD>(crls_.size()), data, size);
    case CMSG_CERT_PARAM:
    case CMSG_CRL_PARAM: {
      const auto& choices = type == CMSG_CERT_PARAM ? certificates_ : crls_;
      if (index >= choices.size()) fail(CRYPT_E_INVALID_INDEX);
      return outputBytes(choices[index]->data, choices[index]->numocts, data, size);
    }
    case CMSG_VERSION_PARAM:
      return outputDword(static_cast<DWORD>(signedData_.version), data, size);
    default:
      fail(CRYPT_E_INVALID_MSG_TYPE);
  }
}

void SignedDecoder::control(DWORD, DWORD type, const void* para) {
  if (type != CMSG_CTRL_VERIFY_SIGNATURE) fail(CRYPT_E_CONTROL_TYPE);
  if (para == nullptr) fail(E_INVALIDARG);
  if (state_ != State::Done) fail(CRYPT_E_MSG_ERROR);
  verifySigner(signers_, signedData_.encapContentInfo.contentType, digestInput_, wholeContentInput_,
               *static_cast<const CERT_INFO*>(para));
}

}  // namespace Platform
}  // namespace Zanthorel

using Zanthorel::Platform::fail;
using Zanthorel::Platform::Provider;

HCRYPTMSG WINAPI CryptMsgOpenToDecode(DWORD dwMsgEncodingType, DWORD dwFlags, DWORD dwMsgType,
                                      HCRYPTPROV_LEGACY hCryptProv, PCERT_INFO /*pRecipientInfo*/,
                                      PCMSG_STREAM_INFO pStreamInfo) {
  return Zanthorel::Platform::guardedCall<HCRYPTMSG>(nullptr, [&]() -> HCRYPTMSG {
    if ((dwMsgEncodingType & PKCS_7_ASN_ENCODING) == 0 || pStreamInfo != nullptr)
      fail(E_INVALIDARG);
    // The provider is not needed to read a signed message; with the flag it is the message's to
    // release.
    Provider* provider = (dwFlags & CMSG_CRYPT_RELEASE_CONTEXT_FLAG) != 0
                             ? Provider::fromHandle(hCryptProv)
                             : nullptr;
    return (new Zanthorel::Platform::SignedDecoder(dwMsgType, provider))->handle();
  });
}
