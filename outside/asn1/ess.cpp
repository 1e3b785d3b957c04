#include "outside/asn1/ess.h"

using Zanthorel::BER::BerReader;
using Zanthorel::BER::DerWriter;

namespace {

// IssuerSerial ::= SEQUENCE { issuer GeneralNames, serialNumber CertificateSerialNumber }
bool decodeIssuerSerial(BerReader& in, ASN1T_IssuerSerial& v) noexcept {
  BerReader seq;
  return in.readSequence(seq) && asn1D_GeneralNames(seq, v.issuer) &&
         seq.readIntegerOctets(v.serialNumber) && seq.finish();
}

void encodeIssuerSerial(DerWriter& out, const ASN1T_IssuerSerial& v) noexcept {
  const std::size_t seq = out.open(kTagSequence);
  asn1E_GeneralNames(out, v.issuer);
  out.putIntegerOctets(v.serialNumber);
  out.close(seq);
}

// ESSCertID(v2) ::= SEQUENCE { hashAlgorithm (v2 only) DEFAULT id-sha256, certHash Hash,
//                              issuerSerial IssuerSerial OPTIONAL }
bool decodeCertId(BerReader& in, ASN1T_ESSCertID& v, bool v2) noexcept {
  BerReader seq;
  if (!in.readSequence(seq)) return false;
  if (v2 && seq.nextIs(kTagSequence)) {
    v.m.hashAlgorithmPresent = 1;
    if (!asn1D_AlgorithmIdentifier(seq, v.hashAlgorithm)) return false;
  }
  if (!seq.readOctetString(v.certHash)) return false;
  if (!seq.empty()) {
    v.m.issuerSerialPresent = 1;
    if (!decodeIssuerSerial(seq, v.issuerSerial)) return false;
  }
  return seq.finish();
}

void encodeCertId(DerWriter& out, const ASN1T_ESSCertID& v, bool v2) noexcept {
  const std::size_t seq = out.open(kTagSequence);
  if (v2 && v.m.hashAlgorithmPresent) asn1E_AlgorithmIdentifier(out, v.hashAlgorithm);
  out.putOctetString(v.certHash);
  if (v.m.issuerSerialPresent) encodeIssuerSerial(out, v.issuerSerial);
  out.close(seq);
}

// SigningCertificate(V2) ::= SEQUENCE { certs SEQUENCE OF ESSCertID(v2),
//                                      policies SEQUENCE OF PolicyInformation OPTIONAL }
bool decodeSigningCertificate(BerReader& in, ASN1T_SigningCertificate& v, bool v2) noexcept {
  BerReader seq, certs;
  const auto decodeOne = [v2](BerReader& r, ASN1T_ESSCertID& id) {
    return decodeCertId(r, id, v2);
  };
  if (!in.readSequence(seq) || !seq.readSequence(certs) ||
      !rtDecodeSeqOf<ASN1T_ESSCertID>(certs, v.certs, decodeOne))
    return false;
  if (seq.nextIs(kTagSequence)) {
    v.m.policiesPresent = 1;
    if (!seq.readOpenType(v.policies)) return false;
  }
  return seq.finish();
}

void encodeSigningCertificate(DerWriter& out, const ASN1T_SigningCertificate& v, bool v2) noexcept {
  const std::size_t seq = out.open(kTagSequence);
  const std::size_t certs = out.open(kTagSequence);
  for (const ASN1T_ESSCertID* id : rtSeqOfItems<ASN1T_ESSCertID>(v.certs)) {
    encodeCertId(out, *id, v2);
  }
  out.close(certs);
  if (v.m.policiesPresent) out.putOpenType(v.policies);
  out.close(seq);
}

}  // namespace

bool asn1D_SigningCertificate(BerReader& in, ASN1T_SigningCertificate& v) noexcept {
  return decodeSigningCertificate(in, v, false);
}

void asn1E_SigningCertificate(DerWriter& out, const ASN1T_SigningCertificate& v) noexcept {
  encodeSigningCertificate(out, v, false);
}

bool asn1D_SigningCertificateV2(BerReader& in, ASN1T_SigningCertificate& v) noexcept {
  return decodeSigningCertificate(in, v, true);
}

void asn1E_SigningCertificateV2(DerWriter& out, const ASN1T_SigningCertificate& v) noexcept {
  encodeSigningCertificate(out, v, true);
}
