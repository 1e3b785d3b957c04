// Owning handles for certificate contexts and CMS messages, and the length-query read of a
// message parameter: what the signing and decoding of tokens and stamps share.
#pragma once

#include <memory>

#include "frame/errors.h"
#include "outside/ztasn1/attributes.h"
#include "outside/ztasn1/signer_info.h"
#include "outside/ztlib/blob.h"
#include "outside/ztlib/dll_list.h"

namespace Zanthorel {
namespace PKI {
namespace TSP {

struct CertificateContextRelease {
  void operator()(PCCERT_CONTEXT context) const noexcept { CertFreeCertificateContext(context); }
};
using CertificateContext = std::unique_ptr<const CERT_CONTEXT, CertificateContextRelease>;

struct MessageRelease {
  void operator()(HCRYPTMSG message) const noexcept { CryptMsgClose(message); }
};
using MessageHandle = std::unique_ptr<void, MessageRelease>;

// A context for the encoded X.509 certificate `certificate`. Throws the last platform error when
// there is none, and E_FAIL should the platform have left no error behind: a missing context is
// never handed out.
CertificateContext createCertificateContext(const CBlob& certificate);

// A decode handle that has taken all of `encoded` in one final update, the message type taken from
// the message. Throws the last platform error when opening or feeding fails.
MessageHandle openMessageToDecode(const CBlob& encoded, DWORD flags);

// Parameter `type` of `message` at `index`: the length first, then the bytes. Throws the last
// platform error when either call fails.
CBlob getMessageParam(HCRYPTMSG message, DWORD type, DWORD index);

// A 32-bit parameter of `message`, a count; throws the last platform error when it is refused.
DWORD getMessageCount(HCRYPTMSG message, DWORD type);

// The X.509 certificates of a decoded message in message order, or null when it has none.
std::unique_ptr<CBlobList> getMessageCertificates(HCRYPTMSG message);

// The first signer's attributes of one kind (CMSG_SIGNER_AUTH_ATTR_PARAM or
// CMSG_SIGNER_UNAUTH_ATTR_PARAM), or null when it has none: Windows says so with
// CRYPT_E_ATTRIBUTES_MISSING, Wine with an empty answer. Other failures throw the last error.
std::unique_ptr<ASN1::CAttributes> getSignerAttributes(HCRYPTMSG message, DWORD type);

// Decodes an encoded SignerInfo into `signerInfo`; CRYPT_E_ASN1_INTERNAL when it does not decode.
void decodeSignerInfo(const CBlob& encodedSigner, ASN1::CSignerInfo& signerInfo);

}  // namespace TSP
}  // namespace PKI
}  // namespace Zanthorel
