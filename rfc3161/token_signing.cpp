// CToken::sign, which wraps the TSTInfo in a CMS SignedData, and CToken::encode, which hands out
// the held message.
#include <memory>

#include "frame/cms_params.h"
#include "frame/crypt_message.h"
#include "outside/ztasn1/signer_info.h"
#include "rfc3161/token_impl.h"
#include "rfc3161/tstinfo_mapping.h"

namespace Zanthorel {
namespace PKI {
namespace TSP {

void CToken::sign(std::uintptr_t hCryptProv, std::uint32_t dwKeySpec, const CBlob& certificate,
                  const ASN1::CAlgorithmIdentifierEx& hashAlgorithm) {
  CTokenImpl& token = *impl_;
  token.encoded.clear();

  // The mapping allocates in an arena of its own, apart from the buffer encoded into.
  ASN1T_TSTInfo tstInfo;
  ASN1BEREncodeBuffer encoding;
  ASN1BEREncodeBuffer arena;
  setTSTInfo(token, tstInfo, arena.getCtxtPtr());
  const int length = ASN1C_TSTInfo(encoding, tstInfo).Encode();
  if (length <= 0) ThrowHResult(CRYPT_E_ASN1_INTERNAL);

  token.closeMessage();
  const CertificateContext signer = createCertificateContext(certificate);
  CmsSignParameters parameters(signer.get(), hCryptProv, dwKeySpec, hashAlgorithm,
                               token.signedAttributes.get(), token.unsignedAttributes.get(),
                               token.certificates.get());

  MessageHandle message(CryptMsgOpenToEncode(
      X509_ASN_ENCODING | PKCS_7_ASN_ENCODING, CMSG_CMS_ENCAPSULATED_CONTENT_FLAG, CMSG_SIGNED,
      parameters.signedInfo(), const_cast<LPSTR>(szOID_TIMESTAMP_TOKEN), nullptr));
  if (!message) ThrowLastError();
  if (!CryptMsgUpdate(message.get(), encoding.getMsgPtr(), static_cast<DWORD>(length), TRUE)) {
    // Read before the close, which may set an error of its own.
    const HRESULT error = HResultFromLastError();
    message.reset();
    ThrowHResult(error);
  }
  token.message = message.release();
  // Once: a signed message never changes, and copies share the signer along with it.
  token.signer =
      std::make_shared<TokenSigner>(getMessageParam(token.message, CMSG_ENCODED_SIGNER, 0), false);
}

CBlob CToken::encode() const {
  const CTokenImpl& token = *impl_;
  if (!token.encoded.empty()) return token.encoded;
  if (token.message == nullptr) ThrowHResult(E_FAIL);
  return getMessageParam(token.message, CMSG_CONTENT_PARAM, 0);
}

}  // namespace TSP
}  // namespace PKI
}  // namespace Zanthorel
