#include "tools/ess.h"

#include "outside/asn1/pkix.h"
#include "outside/ztasn1/object_identifier.h"
#include "tools/hash_algorithms.h"
#include "tools/tool_error.h"

using Zanthorel::BER::BerReader;
using Zanthorel::BER::DerWriter;

namespace Zanthorel {
namespace Tools {

const char* const kSigningCertificateOid = "1.2.840.113549.1.9.16.2.12";
const char* const kSigningCertificateV2Oid = "1.2.840.113549.1.9.16.2.47";

namespace {

constexpr ASN1TAG kDirectoryNameTag = asn1ContextTag(4, true);

// IssuerSerial ::= SEQUENCE { issuer GeneralNames, serialNumber CertificateSerialNumber }
// GeneralNames ::= SEQUENCE OF GeneralName, here the one directoryName [4] (explicit: a CHOICE).
void writeIssuerSerial(DerWriter& out, const Certificate& certificate) {
  const CBlob issuer = certificate.issuerName();
  const CBlob serial = certificate.serialNumber().get_value();
  const std::size_t issuerSerial = out.open(kTagSequence);
  const std::size_t names = out.open(kTagSequence);
  const std::size_t directoryName = out.open(kDirectoryNameTag);
  out.putOpenType({issuer.cbData(), issuer.pbData()});
  out.close(directoryName);
  out.close(names);
  out.putIntegerOctets({serial.cbData(), serial.pbData()});
  out.close(issuerSerial);
}

bool readIssuerSerial(BerReader& in, EssCertId& id) {
  BerReader issuerSerial, names;
  ASN1DynOctStr serial{};
  if (!in.readSequence(issuerSerial) || !issuerSerial.readSequence(names)) return false;
  while (!names.empty()) {
    ASN1TAG tag = 0;
    BerReader name;
    if (!names.readElement(tag, name)) return false;
    if (tag == kDirectoryNameTag && id.issuer.empty())
      id.issuer.assign(name.position(), static_cast<std::uint32_t>(name.remaining()));
  }
  if (!issuerSerial.readIntegerOctets(serial) || !issuerSerial.finish()) return false;
  id.serialNumber = ASN1::CBigInteger::fromTwosComplement(serial.data, serial.numocts);
  id.hasIssuerSerial = true;
  return true;
}

// ESSCertID   ::= SEQUENCE { certHash Hash, issuerSerial IssuerSerial OPTIONAL }
// ESSCertIDv2 ::= SEQUENCE { hashAlgorithm AlgorithmIdentifier DEFAULT {id-sha256},
//                            certHash Hash, issuerSerial IssuerSerial OPTIONAL }
bool readCertId(BerReader& in, bool v2, EssCertId& id) {
  BerReader seq;
  if (!in.readSequence(seq)) return false;
  id.hashAlgorithm = v2 ? sha256().oid : sha1().oid;
  if (v2 && seq.nextIs(kTagSequence)) {
    ASN1T_AlgorithmIdentifier algorithm;
    if (!asn1D_AlgorithmIdentifier(seq, algorithm) ||
        !ASN1::oid2str(id.hashAlgorithm, &algorithm.algorithm))
      return false;
  }
  ASN1DynOctStr hash{};
  if (!seq.readOctetString(hash)) return false;
  id.certHash.assign(hash.data, hash.numocts);
  return (seq.empty() || readIssuerSerial(seq, id)) && seq.finish();
}

}  // namespace

ASN1::CAttribute signingCertificateAttribute(const Certificate& certificate, bool v2) {
  const CBlob hash = digestOf(v2 ? sha256() : sha1(), certificate.der());
  ASN1CTXT ctxt;
  DerWriter out(&ctxt);
  // SigningCertificate(V2) ::= SEQUENCE { certs SEQUENCE OF ESSCertID(v2) }; SHA-256 is the
  // default hash of a v2 entry, so DER leaves it out.
  const std::size_t signingCertificate = out.open(kTagSequence);
  const std::size_t certs = out.open(kTagSequence);
  const std::size_t certId = out.open(kTagSequence);
  out.putOctetString({hash.cbData(), hash.pbData()});
  writeIssuerSerial(out, certificate);
  out.close(certId);
  out.close(certs);
  out.close(signingCertificate);
  if (!out.ok()) throw ToolError("cannot encode the signing-certificate attribute");
  ASN1::CAttribute attribute(v2 ? kSigningCertificateV2Oid : kSigningCertificateOid);
  attribute.add(CBlob(out.data(), static_cast<std::uint32_t>(out.size())));
  return attribute;
}

bool decodeSigningCertificate(const CBlob& value, bool v2, std::vector<EssCertId>& certs) {
  ASN1CTXT ctxt;
  BerReader in(value.pbData(), value.cbData(), &ctxt);
  BerReader signingCertificate, list;
  if (!in.readSequence(signingCertificate) || !in.finish() ||
      !signingCertificate.readSequence(list))
    return false;
  certs.clear();
  while (!list.empty()) {
    EssCertId id;
    if (!readCertId(list, v2, id)) return false;
    certs.push_back(std::move(id));
  }
  return !certs.empty();  // policies, if any, follow; they restrict nothing we check
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
