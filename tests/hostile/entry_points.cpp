#include "tests/hostile/entry_points.h"

#include <cstring>
#include <vector>

#include "authenticode/ms_request.h"
#include "authenticode/ms_stamp.h"
#include "rfc3161/request.h"
#include "rfc3161/response.h"
#include "tests/support/platform_messages.h"
#include "tests/support/test_support.h"

using platform_test::bytesOf;
using platform_test::CertificateHandle;
using platform_test::DecodedMessage;
using Zanthorel::CBlob;
using Zanthorel::CBlobList;
using Zanthorel::CDateTime;
using Zanthorel::ASN1::CBigInteger;
using Zanthorel::ASN1::CContentInfo;
using Zanthorel::ASN1::CPKIStatusInfo;
using Zanthorel::PKI::TSP::CMSRequest;
using Zanthorel::PKI::TSP::CMSStamp;
using Zanthorel::PKI::TSP::CRequest;
using Zanthorel::PKI::TSP::CResponse;
using Zanthorel::PKI::TSP::CToken;
using zttsp_test::hresultOf;

namespace hostile_test {
namespace {

constexpr DWORD kEncoding = X509_ASN_ENCODING | PKCS_7_ASN_ENCODING;
const char kAuthenticodeRequestOid[] = "1.3.6.1.4.1.311.3.2.1";

HRESULT lastError() {
  return static_cast<HRESULT>(GetLastError());
}

std::string tokenState(const CToken& token, const CBlob& input, HRESULT decoded) {
  const HRESULT verify = hresultOf([&] { token.verify(CBlob("\x30\x00", 2)); });
  if (decoded != S_OK) {
    if (verify != E_FAIL) return "still holds a message";
    if (!input.empty() && !(token.encode() == input)) return "lost its input";
    if (token.get_policy()[0] != '\0' || token.get_signerInfo().get_sidType() != 0)
      return "input kept, fields of a message";
    return "input kept, no message";
  }
  if (verify == E_FAIL || !(token.encode() == input)) return "decoded without its message";
  std::string state = "decoded";
  if (token.get_genTime() == CDateTime(0, 0))
    state += ", genTime '" + std::string(token.get_genTimeZ()) + "' kept unparsed";
  if (const auto* accuracy = token.get_accuracy()) {
    state += ", accuracy " + std::to_string(accuracy->seconds) + "/" +
             std::to_string(accuracy->millis) + "/" + std::to_string(accuracy->micros);
  }
  if (token.get_tsa() != nullptr) state += ", tsa";
  return state;
}

std::string verdict(bool verified) {
  return verified ? "verifies" : "does not verify";
}

// Decode, then verify with `certificate`: "verifies", "does not verify", or the error.
template <class Message>
Outcome decodeThenVerify(const CBlob& input, const CBlob& certificate) {
  Message message;
  const HRESULT decoded = hresultOf([&] { message.decode(input); });
  if (decoded != S_OK) return {decoded, "decode failed"};
  bool verified = false;
  const HRESULT hr = hresultOf([&] { verified = message.verify(certificate); });
  return {hr, hr == S_OK ? verdict(verified) : "no answer"};
}

}  // namespace

Outcome requestDecode(const CBlob& input, const CBlob&) {
  CRequest request;
  const CBigInteger earlier("0x2A");
  request.put_nonce(&earlier);
  const HRESULT hr = hresultOf([&] { request.decode(input); });
  const bool noOptional = request.get_reqPolicy() == nullptr && request.get_extensions() == nullptr;
  const bool defaults = request.get_version() == 1 && request.get_hashedMessage().empty() &&
                        request.get_hashAlgorithm().get_algorithm()[0] == '\0' &&
                        !request.get_certReq() && noOptional;
  if (defaults && request.get_nonce() != nullptr && *request.get_nonce() == earlier)
    return {hr, "unchanged"};
  if (defaults && request.get_nonce() == nullptr) return {hr, "default request"};
  return {hr, "decoded"};
}

Outcome responseDecode(const CBlob& input, const CBlob&) {
  CResponse response;
  response.put_status(CPKIStatusInfo(Zanthorel::ASN1::grantedWithMods));
  const HRESULT hr = hresultOf([&] { response.decode(input); });
  const CToken* token = response.get_timeStampToken();
  const int status = response.get_status().get_status();
  if (hr == E_INVALIDARG && status == Zanthorel::ASN1::grantedWithMods && token == nullptr)
    return {hr, "unchanged"};
  std::string state = "status " + std::to_string(status);
  if (token == nullptr) return {hr, state + ", no token"};
  const bool message = hresultOf([&] { token->verify(CBlob("\x30\x00", 2)); }) != E_FAIL;
  return {hr, state + (message ? ", token" : ", token without message")};
}

Outcome tokenDecode(const CBlob& input, const CBlob&) {
  CToken token;
  const HRESULT hr = hresultOf([&] { token.decode(input); });
  return {hr, tokenState(token, input, hr)};
}

Outcome tokenVerify(const CBlob& input, const CBlob& certificate) {
  return decodeThenVerify<CToken>(input, certificate);
}

Outcome tokenVerifyAfterFailedDecode(const CBlob& input, const CBlob& certificate) {
  CToken token;
  if (hresultOf([&] { token.decode(input); }) == S_OK) return {S_OK, "decoded"};
  return {hresultOf([&] { token.verify(certificate); }), tokenState(token, input, E_FAIL)};
}

Outcome msRequestDecode(const CBlob& input, const CBlob&) {
  const CContentInfo earlierContent("1.2.840.113549.1.7.1", CBlob("\x04\x01\x2A", 3));
  CMSRequest request(kAuthenticodeRequestOid, earlierContent);
  const HRESULT hr = hresultOf([&] { request.decode(input); });
  const bool unchanged =
      std::strcmp(request.get_timeStampAlgorithm(), kAuthenticodeRequestOid) == 0 &&
      request.get_contentInfo() == earlierContent && request.get_attributes() == nullptr;
  return {hr, unchanged ? "unchanged" : "decoded"};
}

Outcome msStampDecode(const CBlob& input, const CBlob& certificate) {
  const CDateTime earlierTime(1700000000, 0);
  CMSStamp stamp(CBlob("\x04\x01\x2A", 3), earlierTime);
  CBlobList earlierCertificates;
  earlierCertificates.push_back(certificate);
  stamp.put_certificates(&earlierCertificates);
  const HRESULT hr = hresultOf([&] { stamp.decode(input); });
  const bool timeKept = stamp.get_signingTime() == earlierTime;
  const bool certificatesKept =
      stamp.get_certificates() != nullptr && *stamp.get_certificates() == earlierCertificates;
  std::string state = std::string(timeKept ? "time kept" : "time replaced") +
                      (certificatesKept ? ", certificates kept" : ", certificates replaced");
  // After a failure, verify and get_signerInfo give its error again.
  if (hr != S_OK && hresultOf([&] { stamp.verify(certificate); }) == hr &&
      hresultOf([&] { stamp.get_signerInfo(); }) == hr)
    state += ", error kept";
  return {hr, state};
}

Outcome msStampVerify(const CBlob& input, const CBlob& certificate) {
  return decodeThenVerify<CMSStamp>(input, certificate);
}

Outcome platformVerify(const CBlob& input, const CBlob& certificate) {
  DecodedMessage message(bytesOf(input));
  const CertificateHandle signer(certificate);
  const bool verified =
      CryptMsgControl(message.handle(), 0, CMSG_CTRL_VERIFY_SIGNATURE, signer.info()) != FALSE;
  const HRESULT hr = verified ? S_OK : lastError();
  if (message.ok()) return {hr, verdict(verified)};
  // A refused message holds nothing: no content, no control, no further update.
  DWORD size = 0;
  const BYTE more = 0x30;
  const bool empty = !CryptMsgGetParam(message.handle(), CMSG_CONTENT_PARAM, 0, nullptr, &size) &&
                     !CryptMsgUpdate(message.handle(), &more, 1, TRUE) &&
                     lastError() == CRYPT_E_MSG_ERROR;
  const bool refused = hr == CRYPT_E_MSG_ERROR && empty;
  return {static_cast<HRESULT>(message.error()), refused && message.close()
                                                     ? "control refused, closes cleanly"
                                                     : "control: " + zttsp_test::hresultText(hr)};
}

Outcome platformUpdateAfterFinal(const CBlob& input, const CBlob&) {
  DecodedMessage message(bytesOf(input));
  const BYTE more = 0x30;
  const bool taken = CryptMsgUpdate(message.handle(), &more, 1, TRUE) != FALSE;
  const HRESULT hr = taken ? S_OK : lastError();
  return {hr, message.close() ? "closes cleanly" : "does not close"};
}

Outcome platformShortBuffer(const CBlob& input, const CBlob&) {
  DecodedMessage message(bytesOf(input));
  if (!message.ok()) return {static_cast<HRESULT>(message.error()), "decode failed"};
  DWORD needed = 0;
  CryptMsgGetParam(message.handle(), CMSG_CONTENT_PARAM, 0, nullptr, &needed);
  std::vector<BYTE> buffer(needed);
  DWORD size = needed - 1;
  const bool taken =
      CryptMsgGetParam(message.handle(), CMSG_CONTENT_PARAM, 0, buffer.data(), &size) != FALSE;
  return {taken ? S_OK : lastError(),
          size == needed ? "size set to what is needed" : "size " + std::to_string(size)};
}

Outcome platformSignerOutOfRange(const CBlob& input, const CBlob&) {
  DecodedMessage message(bytesOf(input));
  if (!message.ok()) return {static_cast<HRESULT>(message.error()), "decode failed"};
  DWORD size = 0;
  const bool taken = CryptMsgGetParam(message.handle(), CMSG_ENCODED_SIGNER, 5, nullptr, &size);
  return {taken ? S_OK : lastError(), message.close() ? "closes cleanly" : "does not close"};
}

Outcome platformCertificate(const CBlob& input, const CBlob&) {
  SetLastError(0);
  const PCCERT_CONTEXT context =
      CertCreateCertificateContext(kEncoding, input.pbData(), input.cbData());
  const HRESULT hr = context == nullptr ? lastError() : S_OK;
  CertFreeCertificateContext(context);
  return {hr, context == nullptr ? "no context" : "a context"};
}

}  // namespace hostile_test
