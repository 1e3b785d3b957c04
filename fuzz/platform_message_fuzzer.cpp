// The platform layer's decode handle on anything: every parameter through the length query, a
// buffer one byte short, duplicate and close, and verification with the message's own first
// certificate (so that inputs grown from real tokens reach the signature checks).
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <vector>

#include "platform/wincrypt.h"

namespace {

const DWORD kParams[] = {CMSG_TYPE_PARAM,
                         CMSG_CONTENT_PARAM,
                         CMSG_BARE_CONTENT_PARAM,
                         CMSG_INNER_CONTENT_TYPE_PARAM,
                         CMSG_SIGNER_COUNT_PARAM,
                         CMSG_SIGNER_INFO_PARAM,
                         CMSG_SIGNER_CERT_INFO_PARAM,
                         CMSG_SIGNER_HASH_ALGORITHM_PARAM,
                         CMSG_SIGNER_AUTH_ATTR_PARAM,
                         CMSG_SIGNER_UNAUTH_ATTR_PARAM,
                         CMSG_CERT_COUNT_PARAM,
                         CMSG_CERT_PARAM,
                         CMSG_CRL_COUNT_PARAM,
                         CMSG_CRL_PARAM,
                         CMSG_COMPUTED_HASH_PARAM,
                         CMSG_ENCODED_SIGNER,
                         CMSG_ENCODED_MESSAGE,
                         CMSG_VERSION_PARAM,
                         CMSG_SIGNER_CERT_ID_PARAM,
                         CMSG_CMS_SIGNER_INFO_PARAM};

// The parameter, or empty when the message refuses it. A size the query gave must be enough,
// and a shorter buffer either suffices or fails with ERROR_MORE_DATA.
std::vector<BYTE> param(HCRYPTMSG message, DWORD type, DWORD index) {
  DWORD needed = 0;
  if (!CryptMsgGetParam(message, type, index, nullptr, &needed)) return {};
  std::vector<BYTE> buffer(needed + 1);
  DWORD got = needed;
  if (!CryptMsgGetParam(message, type, index, buffer.data(), &got) || got > needed) std::abort();
  if (needed > 0) {
    DWORD shorter = needed - 1;
    if (!CryptMsgGetParam(message, type, index, buffer.data(), &shorter) &&
        GetLastError() != ERROR_MORE_DATA)
      std::abort();
  }
  buffer.resize(got);
  return buffer;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const DWORD encoding = X509_ASN_ENCODING | PKCS_7_ASN_ENCODING;
  HCRYPTMSG message = CryptMsgOpenToDecode(encoding, 0, 0, 0, nullptr, nullptr);
  if (message == nullptr) std::abort();
  if (CryptMsgUpdate(message, data, static_cast<DWORD>(size), TRUE)) {
    for (DWORD type : kParams) {
      for (DWORD index = 0; index < 3; ++index)
        param(message, type, index);
    }
    const std::vector<BYTE> certificate = param(message, CMSG_CERT_PARAM, 0);
    PCCERT_CONTEXT context =
        certificate.empty() ? nullptr
                            : CertCreateCertificateContext(encoding, certificate.data(),
                                                           static_cast<DWORD>(certificate.size()));
    if (context != nullptr) {
      HCRYPTMSG shared = CryptMsgDuplicate(message);
      CryptMsgControl(shared, 0, CMSG_CTRL_VERIFY_SIGNATURE, context->pCertInfo);
      CryptMsgClose(shared);
      CertFreeCertificateContext(context);
    }
  }
  // A message that refused its update still closes cleanly.
  CryptMsgClose(message);
  return 0;
}
