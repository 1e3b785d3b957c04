// The platform layer's decode handle and certificate parser on anything, with the Windows rules
// for what may follow: every parameter through the length query, a buffer one byte short, no
// update after the final one, duplicate, verify and close.
#include <vector>

#include "fuzz/targets/fixed_tsa.h"
#include "fuzz/targets/fuzz_targets.h"
#include "sdk/win32.h"

namespace zttsp_fuzz {
namespace {

constexpr DWORD kEncoding = X509_ASN_ENCODING | PKCS_7_ASN_ENCODING;

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
  if (!CryptMsgGetParam(message, type, index, buffer.data(), &got) || got > needed)
    fuzzFinding("the size from the length query is not enough");
  if (needed > 0) {
    DWORD shorter = needed - 1;
    if (!CryptMsgGetParam(message, type, index, buffer.data(), &shorter) &&
        GetLastError() != ERROR_MORE_DATA)
      fuzzFinding("a short buffer fails without ERROR_MORE_DATA");
  }
  buffer.resize(got);
  return buffer;
}

// Verifies `message` with the certificate `encoded`, if it is one; any answer will do.
void verifyWith(HCRYPTMSG message, const BYTE* encoded, DWORD size) {
  PCCERT_CONTEXT context = CertCreateCertificateContext(kEncoding, encoded, size);
  if (context == nullptr) return;
  HCRYPTMSG shared = CryptMsgDuplicate(message);
  CryptMsgControl(shared, 0, CMSG_CTRL_VERIFY_SIGNATURE, context->pCertInfo);
  CryptMsgClose(shared);
  CertFreeCertificateContext(context);
}

// Kept for the whole run: every iteration asks for it.
const CERT_INFO* fixedCertificateInfo() {
  static const PCCERT_CONTEXT context = CertCreateCertificateContext(
      kEncoding, fixedCertificate().pbData(), fixedCertificate().cbData());
  if (context == nullptr) fuzzFinding("the fixed certificate is refused");
  return context->pCertInfo;
}

}  // namespace

void runPlatformMessage(const std::uint8_t* data, std::size_t size) {
  HCRYPTMSG message = CryptMsgOpenToDecode(kEncoding, 0, 0, 0, nullptr, nullptr);
  if (message == nullptr) fuzzFinding("no decode handle");
  const bool decoded = CryptMsgUpdate(message, data, static_cast<DWORD>(size), TRUE) != FALSE;
  const BYTE more = 0;
  if (CryptMsgUpdate(message, &more, 1, TRUE) || GetLastError() != DWORD(CRYPT_E_MSG_ERROR))
    fuzzFinding("an update after the final one is taken");
  if (decoded) {
    for (DWORD type : kParams) {
      for (DWORD index = 0; index < 3; ++index)
        param(message, type, index);
    }
    const std::vector<BYTE> certificate = param(message, CMSG_CERT_PARAM, 0);
    if (!certificate.empty())
      verifyWith(message, certificate.data(), static_cast<DWORD>(certificate.size()));
    verifyWith(message, fixedCertificate().pbData(), fixedCertificate().cbData());
  } else if (CryptMsgControl(message, 0, CMSG_CTRL_VERIFY_SIGNATURE, fixedCertificateInfo())) {
    fuzzFinding("a message that failed to decode verifies");
  }
  // A message that refused its update still closes cleanly.
  if (!CryptMsgClose(message)) fuzzFinding("a decode handle does not close");
}

void runCertificate(const std::uint8_t* data, std::size_t size) {
  PCCERT_CONTEXT context = CertCreateCertificateContext(kEncoding, data, static_cast<DWORD>(size));
  if (context == nullptr) return;
  // Its key and names reach the signer match and the signature check of a real token.
  HCRYPTMSG message = CryptMsgOpenToDecode(kEncoding, 0, 0, 0, nullptr, nullptr);
  const Zanthorel::CBlob& token = fixedToken();
  if (message == nullptr || !CryptMsgUpdate(message, token.pbData(), token.cbData(), TRUE))
    fuzzFinding("the fixed token does not decode");
  CryptMsgControl(message, 0, CMSG_CTRL_VERIFY_SIGNATURE, context->pCertInfo);
  CryptMsgClose(message);
  if (!CertFreeCertificateContext(context)) fuzzFinding("a certificate context does not free");
}

}  // namespace zttsp_fuzz
