// CMSG_CTRL_VERIFY_SIGNATURE: the signature of the signer that a certificate identifies.
#pragma once

#include <vector>

#include "outside/asn1/cms.h"
#include "platform/signature.h"
#include "sdk/wincrypt.h"

namespace Zanthorel {
namespace Platform {

// Verifies the first signer that `certificate` names by issuer and serial number, over content of
// type `contentType` whose `digestInput` octets the messageDigest attribute covers (a
// messageDigest over `otherDigestInput` is accepted too when that is not empty). Throws
// CRYPT_E_SIGNER_NOT_FOUND, CRYPT_E_UNKNOWN_ALGO, CRYPT_E_AUTH_ATTR_MISSING (signed attributes
// without messageDigest or contentType), CRYPT_E_HASH_VALUE (messageDigest differs from the
// content), CRYPT_E_UNEXPECTED_ENCODING (contentType differs from the content's),
// NTE_BAD_SIGNATURE, and the key errors of publicKeyOf.
void verifySigner(const std::vector<ASN1T_SignerInfo>& signers, const ASN1OBJID& contentType,
                  ByteSpan digestInput, ByteSpan otherDigestInput, const CERT_INFO& certificate);

}  // namespace Platform
}  // namespace Zanthorel
