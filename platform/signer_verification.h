// CMSG_CTRL_VERIFY_SIGNATURE: the signature of the signer that a certificate identifies.
#pragma once

#include <vector>

#include "outside/asn1/cms.h"
#include "platform/signature.h"
#include "platform/wincrypt.h"

namespace Zanthorel {
namespace Platform {

// What a signature over a decoded message is checked against.
struct SignedContent {
  ASN1OBJID contentType;
  ByteSpan digestInput;  // the octets that the messageDigest attribute covers
};

// Verifies the first signer that `certificate` names by issuer and serial number. Throws
// CRYPT_E_SIGNER_NOT_FOUND, CRYPT_E_UNKNOWN_ALGO, CRYPT_E_AUTH_ATTR_MISSING (no messageDigest or
// contentType), CRYPT_E_HASH_VALUE (messageDigest differs from the content),
// CRYPT_E_UNEXPECTED_ENCODING (contentType differs from the content's), NTE_BAD_SIGNATURE, and
// the key errors of publicKeyOf.
void verifySigner(const std::vector<ASN1OpenType>& encodings,
                  const std::vector<ASN1T_SignerInfo>& signers, const SignedContent& content,
                  const CERT_INFO& certificate);

}  // namespace Platform
}  // namespace Zanthorel
