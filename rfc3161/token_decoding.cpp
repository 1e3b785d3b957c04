// CToken::decode, which reads a TimeStampToken through the CMS message functions and the TSTInfo
// codec, and CToken::verify, which checks its signature.
#include <algorithm>
#include <memory>
#include <string>

#include "frame/cms_params.h"
#include "frame/crypt_message.h"
#include "outside/ztasn1/octet_string.h"
#include "rfc3161/token_impl.h"
#include "rfc3161/tstinfo_mapping.h"

namespace Zanthorel {
namespace PKI {
namespace TSP {
void CToken::decode(const CBlob& encoded) {
  auto* fresh = new CTokenImpl;
  clear();
  impl_ = fresh;
  CTokenImpl& token = *impl_;
  token.encoded = encoded;

  MessageHandle message = openMessageToDecode(encoded, CMSG_CRYPT_RELEASE_CONTEXT_FLAG);

  // CMS puts non-data content in an OCTET STRING, PKCS #7 gives the TSTInfo bare.
  CBlob content = getMessageParam(message.get(), CMSG_CONTENT_PARAM, 0);
  if (!content.empty() && content.pbData()[0] == 0x04) content = ASN1::fromOctetString(content);

  const CBlob contentType = getMessageParam(message.get(), CMSG_INNER_CONTENT_TYPE_PARAM, 0);
  const auto* text = reinterpret_cast<const char*>(contentType.pbData());
  if (std::string(text, std::find(text, text + contentType.cbData(), '\0')) !=
      szOID_TIMESTAMP_TOKEN)
    ThrowHResult(CRYPT_E_BAD_MSG);

  decodeSignerInfo(getMessageParam(message.get(), CMSG_ENCODED_SIGNER, 0), token.signerInfo);

  ASN1BERDecodeBuffer buffer(content.pbData(), content.cbData());
  ASN1T_TSTInfo tstInfo;
  if (ASN1C_TSTInfo(buffer, tstInfo).Decode() < 0) ThrowHResult(CRYPT_E_ASN1_INTERNAL);
  getTSTInfo(token, tstInfo);

  token.signedAttributes = getSignerAttributes(message.get(), CMSG_SIGNER_AUTH_ATTR_PARAM);
  token.unsignedAttributes = getSignerAttributes(message.get(), CMSG_SIGNER_UNAUTH_ATTR_PARAM);
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
