// Codec of the ESS signing-certificate attributes (RFC 2634 section 5.4, RFC 5035 section 3): the
// values by which a signer names its own certificate among the signed attributes.
#pragma once

#include "outside/asn1/pkix.h"

// IssuerSerial ::= SEQUENCE {
//   issuer        GeneralNames,
//   serialNumber  CertificateSerialNumber }
struct ASN1T_IssuerSerial {
  ASN1T_GeneralNames issuer{};
  ASN1DynOctStr serialNumber{};  // the INTEGER's two's-complement contents octets
};

// ESSCertID ::= SEQUENCE {
//   certHash      Hash,                             -- OCTET STRING, SHA-1 of the certificate
//   issuerSerial  IssuerSerial OPTIONAL }
// ESSCertIDv2 ::= SEQUENCE {
//   hashAlgorithm AlgorithmIdentifier DEFAULT { algorithm id-sha256 },
//   certHash      Hash,
//   issuerSerial  IssuerSerial OPTIONAL }
// One structure for both; hashAlgorithm belongs to version 2 only, and DER leaves it out when it
// is SHA-256, so it is written when marked present.
struct ASN1T_ESSCertID {
  struct {
    unsigned hashAlgorithmPresent : 1;
    unsigned issuerSerialPresent : 1;
  } m{};
  ASN1T_AlgorithmIdentifier hashAlgorithm{};
  ASN1DynOctStr certHash{};
  ASN1T_IssuerSerial issuerSerial{};
};

// SigningCertificate ::= SEQUENCE {
//   certs     SEQUENCE OF ESSCertID,               -- list of ASN1T_ESSCertID
//   policies  SEQUENCE OF PolicyInformation OPTIONAL }
// SigningCertificateV2 ::= SEQUENCE {
//   certs     SEQUENCE OF ESSCertIDv2,
//   policies  SEQUENCE OF PolicyInformation OPTIONAL }
// The policies are carried as their element, unread.
struct ASN1T_SigningCertificate {
  struct {
    unsigned policiesPresent : 1;
  } m{};
  ASN1TSeqOfList certs{};
  ASN1OpenType policies{};
};
ZTASN1_API bool asn1D_SigningCertificate(Zanthorel::BER::BerReader& in,
                                         ASN1T_SigningCertificate& v) noexcept;
ZTASN1_API void asn1E_SigningCertificate(Zanthorel::BER::DerWriter& out,
                                         const ASN1T_SigningCertificate& v) noexcept;
ZTASN1_API bool asn1D_SigningCertificateV2(Zanthorel::BER::BerReader& in,
                                           ASN1T_SigningCertificate& v) noexcept;
ZTASN1_API void asn1E_SigningCertificateV2(Zanthorel::BER::DerWriter& out,
                                           const ASN1T_SigningCertificate& v) noexcept;

using ASN1C_SigningCertificate =
    ASN1CTypeOf<ASN1T_SigningCertificate, asn1E_SigningCertificate, asn1D_SigningCertificate>;
using ASN1C_SigningCertificateV2 =
    ASN1CTypeOf<ASN1T_SigningCertificate, asn1E_SigningCertificateV2, asn1D_SigningCertificateV2>;
