#include "tools/ess.h"

#include "outside/asn1/ess.h"
#include "outside/ztasn1/general_name.h"
#include "outside/ztasn1/object_identifier.h"
#include "tools/hash_algorithms.h"
#include "tools/tool_error.h"

namespace Zanthorel {
namespace Tools {

const char* const kSigningCertificateOid = "1.2.840.113549.1.9.16.2.12";
const char* const kSigningCertificateV2Oid = "1.2.840.113549.1.9.16.2.47";

namespace {

// The DER Name of the first directoryName among `names`; empty when the issuer is named otherwise.
CBlob directoryNameIn(const ASN1T_GeneralNames& names) {
  for (const ASN1T_GeneralName* name : rtSeqOfItems<ASN1T_GeneralName>(names)) {
    if (name->t != T_GeneralName_directoryName) continue;
    ASN1::CGeneralName converted;
    ASN1::ASN1T_GeneralName_traits::get(*name, converted);
    return converted.get_value();
  }
  return CBlob();
}

EssCertId essCertIdOf(const ASN1T_ESSCertID& entry, bool v2) {
  EssCertId id;
  id.hashAlgorithm = v2 ? sha256().oid : sha1().oid;  // the default of a v2 entry
  if (entry.m.hashAlgorithmPresent)
    ASN1::ASN1TObjId_traits::get(entry.hashAlgorithm.algorithm, id.hashAlgorithm);
  id.certHash.assign(entry.certHash.data, entry.certHash.numocts);
  if (entry.m.issuerSerialPresent) {
    id.hasIssuerSerial = true;
    id.issuer = directoryNameIn(entry.issuerSerial.issuer);
    const ASN1DynOctStr& serial = entry.issuerSerial.serialNumber;
    id.serialNumber = ASN1::CBigInteger::fromTwosComplement(serial.data, serial.numocts);
  }
  return id;
}

}  // namespace

// One ESSCertID(v2) naming the certificate by its hash and by its issuer, as a directoryName, and
// serial number. A v2 entry hashes with SHA-256, its default, so DER leaves the algorithm out.
ASN1::CAttribute signingCertificateAttribute(const Certificate& certificate, bool v2) {
  const CBlob hash = digestOf(v2 ? sha256() : sha1(), certificate.der());
  const CBlob serial = certificate.serialNumber().get_value();
  ASN1BEREncodeBuffer buffer;
  ASN1CTXT* ctxt = buffer.getCtxtPtr();
  ASN1T_GeneralName issuer;
  ASN1::ASN1T_GeneralName_traits::set(
      ctxt, issuer, ASN1::CGeneralName::fromDirectoryName(certificate.issuerName()));
  ASN1T_ESSCertID id;
  id.certHash = {hash.cbData(), hash.pbData()};
  id.m.issuerSerialPresent = 1;
  id.issuerSerial.serialNumber = {serial.cbData(), serial.pbData()};
  ASN1T_SigningCertificate value;
  const bool listed =
      rtSeqOfAppend(ctxt, id.issuerSerial.issuer, &issuer) && rtSeqOfAppend(ctxt, value.certs, &id);
  const int length = !listed ? -1
                     : v2    ? ASN1C_SigningCertificateV2(buffer, value).Encode()
                             : ASN1C_SigningCertificate(buffer, value).Encode();
  if (length <= 0) throw ToolError("cannot encode the signing-certificate attribute");
  ASN1::CAttribute attribute(v2 ? kSigningCertificateV2Oid : kSigningCertificateOid);
  attribute.add(CBlob(buffer.getMsgPtr(), static_cast<std::uint32_t>(length)));
  return attribute;
}

bool decodeSigningCertificate(const CBlob& value, bool v2, std::vector<EssCertId>& certs) {
  ASN1BERDecodeBuffer buffer(value.pbData(), value.cbData());
  ASN1T_SigningCertificate decoded;
  const int status = v2 ? ASN1C_SigningCertificateV2(buffer, decoded).Decode()
                        : ASN1C_SigningCertificate(buffer, decoded).Decode();
  if (status != 0) return false;
  certs.clear();
  for (const ASN1T_ESSCertID* entry : rtSeqOfItems<ASN1T_ESSCertID>(decoded.certs))
    certs.push_back(essCertIdOf(*entry, v2));
  return !certs.empty();  // the policies, if any, restrict nothing that is checked here
}

std::string essMismatch(const EssCertId& id, const Certificate& certificate) {
  const HashAlgorithm* algorithm = hashAlgorithmOf(id.hashAlgorithm);
  if (algorithm == nullptr) return "its hash algorithm " + id.hashAlgorithm + " is not supported";
  if (digestOf(*algorithm, certificate.der()) != id.certHash)
    return std::string("its ") + algorithm->name + " certHash is not the signer certificate's";
  if (id.hasIssuerSerial &&
      (id.issuer != certificate.issuerName() || id.serialNumber != certificate.serialNumber()))
    return "its issuerSerial names another certificate";
  return "";
}

}  // namespace Tools
}  // namespace Zanthorel
