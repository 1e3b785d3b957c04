// The ESS signing-certificate attributes (RFC 2634, RFC 5035) by which a token names the
// certificate of its signer: building them, reading them back and checking them.
#pragma once

#include <string>
#include <vector>

#include "outside/ztasn1/attributes.h"
#include "outside/ztasn1/big_integer.h"
#include "tools/certificate.h"

namespace Zanthorel {
namespace Tools {

extern const char* const kSigningCertificateOid;    // v1, SHA-1
extern const char* const kSigningCertificateV2Oid;  // v2, SHA-256 here

// Which of the two attributes a signer carries.
enum class EssVersion { v1, v2, both };

// The attribute naming `certificate` by its hash and its issuer and serial number.
ASN1::CAttribute signingCertificateAttribute(const Certificate& certificate, bool v2);

// One ESSCertID or ESSCertIDv2.
struct EssCertId {
  std::string hashAlgorithm;  // dotted; SHA-1 for v1, SHA-256 when a v2 entry leaves it out
  CBlob certHash;
  bool hasIssuerSerial = false;
  CBlob issuer;  // the DER Name of its directoryName; empty when the issuer is named otherwise
  ASN1::CBigInteger serialNumber;
};

// The entries of a SigningCertificate (v2 false) or SigningCertificateV2 value, in order. False
// when the value is no such structure.
bool decodeSigningCertificate(const CBlob& value, bool v2, std::vector<EssCertId>& certs);

// Why `id` does not name `certificate`, or "" when it does.
std::string essMismatch(const EssCertId& id, const Certificate& certificate);

}  // namespace Tools
}  // namespace Zanthorel
