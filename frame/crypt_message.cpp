#include "frame/crypt_message.h"

#include "frame/cms_params.h"

namespace Zanthorel {
namespace PKI {
namespace TSP {

CertificateContext createCertificateContext(const CBlob& certificate) {
  PCCERT_CONTEXT context = CertCreateCertificateContext(X509_ASN_ENCODING | PKCS_7_ASN_ENCODING,
                                                        certificate.pbData(), certificate.cbData());
  ThrowIfFailed(context != nullptr ? S_OK : HResultFromLastError());
  if (context == nullptr) ThrowHResult(E_FAIL);
  return CertificateContext(context);
}

MessageHandle openMessageToDecode(const CBlob& encoded, DWORD flags) {
  MessageHandle message(
      CryptMsgOpenToDecode(X509_ASN_ENCODING | PKCS_7_ASN_ENCODING, flags, 0, 0, nullptr, nullptr));
  if (!message) ThrowLastError();
  if (!CryptMsgUpdate(message.get(), encoded.pbData(), encoded.cbData(), TRUE)) ThrowLastError();
  return message;
}

CBlob getMessageParam(HCRYPTMSG message, DWORD type, DWORD index) {
  DWORD length = 0;
  if (!CryptMsgGetParam(message, type, index, nullptr, &length)) ThrowLastError();
  CBlob bytes(length);
  if (!CryptMsgGetParam(message, type, index, bytes.pbData(), &length)) ThrowLastError();
  bytes.resize_to(length);
  return bytes;
}

DWORD getMessageCount(HCRYPTMSG message, DWORD type) {
  DWORD count = 0;
  DWORD length = sizeof count;
  if (!CryptMsgGetParam(message, type, 0, &count, &length)) ThrowLastError();
  return count;
}

std::unique_ptr<CBlobList> getMessageCertificates(HCRYPTMSG message) {
  const DWORD count = getMessageCount(message, CMSG_CERT_COUNT_PARAM);
  if (count == 0) return nullptr;
  auto certificates = std::make_unique<CBlobList>();
  for (DWORD i = 0; i < count; ++i) {
    certificates->push_back(getMessageParam(message, CMSG_CERT_PARAM, i));
  }
  return certificates;
}

std::unique_ptr<ASN1::CAttributes> getSignerAttributes(HCRYPTMSG message, DWORD type) {
  DWORD length = 0;
  if (!CryptMsgGetParam(message, type, 0, nullptr, &length)) {
    const HRESULT error = HResultFromLastError();
    if (error != CRYPT_E_ATTRIBUTES_MISSING) ThrowHResult(error);
    length = 0;
  }
  if (length == 0) return nullptr;
  // The block points into itself; CBlob's storage comes from malloc, aligned for it.
  CBlob block(length);
  if (!CryptMsgGetParam(message, type, 0, block.pbData(), &length)) ThrowLastError();
  return std::make_unique<ASN1::CAttributes>(
      fromCryptAttributes(*reinterpret_cast<const CRYPT_ATTRIBUTES*>(block.pbData())));
}

void decodeSignerInfo(const CBlob& encodedSigner, ASN1::CSignerInfo& signerInfo) {
  ASN1BERDecodeBuffer buffer(encodedSigner.pbData(), encodedSigner.cbData());
  ASN1T_SignerInfo structure;
  if (ASN1::CCodeClassT<ASN1T_SignerInfo, ASN1C_SignerInfo>::decode(buffer, structure) < 0)
    ThrowHResult(CRYPT_E_ASN1_INTERNAL);
  ASN1::ASN1T_SignerInfo_traits::get(structure, signerInfo);
}

}  // namespace TSP
}  // namespace PKI
}  // namespace Zanthorel
