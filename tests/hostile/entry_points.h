// The entry points of the hostile catalogue. Each runs one library call on a fresh object that
// already holds something, and reports the HRESULT it ended with and the object's state in words
// (the words the rows expect), so that a row reads as the rule it checks.
#pragma once

#include <string>

#include "outside/ztlib/blob.h"
#include "sdk/win32.h"

namespace hostile_test {

struct Outcome {
  HRESULT hr;
  std::string state;
};

using EntryPoint = Outcome (*)(const Zanthorel::CBlob& input, const Zanthorel::CBlob& certificate);

// CRequest::decode into a request holding a nonce: "unchanged", "default request" or "decoded".
Outcome requestDecode(const Zanthorel::CBlob& input, const Zanthorel::CBlob&);
// CResponse::decode into a response holding status 1: "unchanged" or "status N, no token",
// "status N, token" or "status N, token without message".
Outcome responseDecode(const Zanthorel::CBlob& input, const Zanthorel::CBlob&);
// CToken::decode: "input kept, no message" after a failure (no TSTInfo field or signer either);
// "decoded" with what the TSTInfo held that the rows look at (a genTime that is no time,
// accuracy, tsa).
Outcome tokenDecode(const Zanthorel::CBlob& input, const Zanthorel::CBlob&);
// CToken::decode, then verify(certificate): "verifies" or "does not verify".
Outcome tokenVerify(const Zanthorel::CBlob& input, const Zanthorel::CBlob& certificate);
// CToken::verify on a token whose decode failed.
Outcome tokenVerifyAfterFailedDecode(const Zanthorel::CBlob& input, const Zanthorel::CBlob&);
// CMSRequest::decode into a request holding an identifier and content: "unchanged", "decoded".
Outcome msRequestDecode(const Zanthorel::CBlob& input, const Zanthorel::CBlob&);
// CMSStamp::decode into a stamp holding a time and a certificate: what it kept of them, and
// after a failure whether verify and get_signerInfo give the error again ("error kept").
Outcome msStampDecode(const Zanthorel::CBlob& input, const Zanthorel::CBlob&);
// CMSStamp::decode, then verify(certificate).
Outcome msStampVerify(const Zanthorel::CBlob& input, const Zanthorel::CBlob& certificate);

// The platform layer, as Windows behaves: the last error of the call that failed.
// A decode handle's final update, then CMSG_CTRL_VERIFY_SIGNATURE with the certificate: the
// verdict, or after a refused update that update's error and what the handle still does.
Outcome platformVerify(const Zanthorel::CBlob& input, const Zanthorel::CBlob& certificate);
// The final update, then another: "closes cleanly" when the handle still closes.
Outcome platformUpdateAfterFinal(const Zanthorel::CBlob& input, const Zanthorel::CBlob&);
// CMSG_CONTENT_PARAM into a buffer one byte short: "size set to what is needed" when *pcbData
// says so.
Outcome platformShortBuffer(const Zanthorel::CBlob& input, const Zanthorel::CBlob&);
// CMSG_ENCODED_SIGNER of signer index 5.
Outcome platformSignerOutOfRange(const Zanthorel::CBlob& input, const Zanthorel::CBlob&);
// CertCreateCertificateContext: "a context" or "no context".
Outcome platformCertificate(const Zanthorel::CBlob& input, const Zanthorel::CBlob&);

// Runs `entry` on every proper prefix of the input (of two octets or more; one octet is tested
// on its own): each must give the same outcome, which is returned.
template <EntryPoint entry>
Outcome everyPrefix(const Zanthorel::CBlob& input, const Zanthorel::CBlob& certificate) {
  Outcome first{S_OK, "no prefix"};
  for (std::uint32_t length = 2; length < input.cbData(); ++length) {
    const Outcome outcome = entry(Zanthorel::CBlob(input.pbData(), length), certificate);
    if (length == 2) first = outcome;
    if (outcome.hr != first.hr || outcome.state != first.state)
      return {outcome.hr, outcome.state + " (at length " + std::to_string(length) + ")"};
  }
  return first;
}

}  // namespace hostile_test
