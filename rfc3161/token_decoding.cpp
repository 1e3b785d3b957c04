// CToken::decode, which reads a TimeStampToken through the CMS message functions and the TSTInfo
// codec, and CToken::verify, which checks its signature.
#include <algorithm>
#include <memory>
#include <string>

#include "frame/crypt_message.h"
#include "frame/record.h"
#include "rfc3161/token_impl.h"
#include "rfc3161/tstinfo_mapping.h"

using Zanthorel::BER::BerReader;

namespace Zanthorel {
namespace PKI {
namespace TSP {

namespace {

// The TSTInfo in the message content, which points into `content` or into `ctxt`'s memory. CMS
// puts non-data content in an OCTET STRING, PKCS #7 gives the TSTInfo bare; an OCTET STRING that
// does not decode is CRYPT_E_ASN1_INTERNAL.
ASN1DynOctStr tstInfoIn(const CBlob& content, ASN1CTXT* ctxt) {
  ASN1DynOctStr tstInfo{content.cbData(), content.pbData()};
  ASN1TAG tag;
  if (BerReader::tagOf(content.pbData(), content.cbData(), tag) && tag == kTagOctetString) {
    BerReader in(content.pbData(), content.cbData(), ctxt);
    if (!in.readOctetString(tstInfo) || !in.finish()) ThrowHResult(CRYPT_E_ASN1_INTERNAL);
  }
  return tstInfo;
}

// The signer's own attribute list, shared with it; null when the signer has none.
std::shared_ptr<const ASN1::CAttributes> partOf(const std::shared_ptr<const TokenSigner>& signer,
                                                const ASN1::CAttributes* attributes) {
  if (attributes == nullptr) return nullptr;
  return std::shared_ptr<const ASN1::CAttributes>(signer, attributes);
}

}  // namespace

// The SignerInfo of signer 0 is read once: the signed and unsigned attributes are the ones it
// carries.
void CToken::decode(const CBlob& encoded) {
  renewRecord(impl_);
  CTokenImpl& token = *impl_;
  token.encoded = encoded;

  MessageHandle message = openMessageToDecode(encoded, CMSG_CRYPT_RELEASE_CONTEXT_FLAG);
  const CBlob content = getMessageParam(message.get(), CMSG_CONTENT_PARAM, 0);
  ASN1BERDecodeBuffer buffer;
  const ASN1DynOctStr tstInfoBytes = tstInfoIn(content, buffer.getCtxtPtr());
  const CBlob contentType = getMessageParam(message.get(), CMSG_INNER_CONTENT_TYPE_PARAM, 0);
  const auto* text = reinterpret_cast<const char*>(contentType.pbData());
  if (std::string(text, std::find(text, text + contentType.cbData(), '\0')) !=
      szOID_TIMESTAMP_TOKEN)
    ThrowHResult(CRYPT_E_BAD_MSG);

  token.signer =
      std::make_shared<TokenSigner>(getMessageParam(message.get(), CMSG_ENCODED_SIGNER, 0), true);
  const ASN1::CSignerInfo& signer = token.signer->get();

  ASN1T_TSTInfo tstInfo;
  buffer.setBuffer(tstInfoBytes.data, tstInfoBytes.numocts);
  if (ASN1C_TSTInfo(buffer, tstInfo).Decode() < 0) ThrowHResult(CRYPT_E_ASN1_INTERNAL);
  getTSTInfo(token, tstInfo);

  token.signedAttributes = partOf(token.signer, signer.get_signedAttributes());
  token.unsignedAttributes = partOf(token.signer, signer.get_unsignedAttributes());
  token.certificates = getMessageCertificates(message.get());
  token.message = message.release();
}

bool CToken::verify(const CBlob& certificate) const {
  const HCRYPTMSG message = impl_->message;
  if (message == nullptr) ThrowHResult(E_FAIL);
  if (getMessageCount(message, CMSG_SIGNER_COUNT_PARAM) != 1) return false;
  const CertificateContext signer = createCertificateContext(certificate);
  return CryptMsgControl(message, 0, CMSG_CTRL_VERIFY_SIGNATURE, signer->pCertInfo) != FALSE;
}

}  // namespace TSP
}  // namespace PKI
}  // namespace Zanthorel
