// Codec of the CMS SignedData (RFC 5652 section 5, PKCS #7 version 1.5 alike) around its signers:
// EncapsulatedContentInfo, CertificateSet, RevocationInfoChoices, SignedData.
//
// Certificates, revocation entries and signers are carried as the elements received, so that a
// decoder hands them out unchanged and skips the choices it does not know; SignerInfo has its own
// codec (cms.h).
#pragma once

#include "outside/asn1/cms.h"

// EncapsulatedContentInfo ::= SEQUENCE {
//   eContentType  ContentType,
//   eContent      [0] EXPLICIT OCTET STRING OPTIONAL }
// PKCS #7 allows any type under [0] (ContentInfo.content [0] EXPLICIT ANY), and Authenticode puts
// its content there directly: the shape of ContentInfo, whose codec reads and writes it
// (contentType is eContentType, content the element under [0] as received).
typedef ASN1T_ContentInfo ASN1T_EncapsulatedContentInfo;

// CertificateChoices ::= CHOICE {
//   certificate           Certificate,                      -- SEQUENCE
//   extendedCertificate   [0] IMPLICIT ExtendedCertificate, -- obsolete
//   v1AttrCert            [1] IMPLICIT AttributeCertificateV1,
//   v2AttrCert            [2] IMPLICIT AttributeCertificateV2,
//   other                 [3] IMPLICIT OtherCertificateFormat }
// RevocationInfoChoice ::= CHOICE {
//   crl    CertificateList,                                 -- SEQUENCE
//   other  [1] IMPLICIT OtherRevocationInfoFormat }
// Either is held as the chosen element; the X.509 alternative is the one tagged SEQUENCE.
inline bool asn1IsX509Choice(const ASN1OpenType& choice) noexcept {
  ASN1TAG tag;
  return Zanthorel::BER::BerReader::tagOf(choice.data, choice.numocts, tag) && tag == kTagSequence;
}

// SignedData ::= SEQUENCE {
//   version           CMSVersion,
//   digestAlgorithms  SET OF DigestAlgorithmIdentifier,     -- list of ASN1T_AlgorithmIdentifier
//   encapContentInfo  EncapsulatedContentInfo,
//   certificates      [0] IMPLICIT CertificateSet OPTIONAL, -- list of ASN1OpenType
//   crls              [1] IMPLICIT RevocationInfoChoices OPTIONAL,  -- list of ASN1OpenType
//   signerInfos       SET OF SignerInfo }                    -- list of ASN1OpenType
// Encoding writes certificates, crls and signerInfos in list order (the signers' order is their
// index) and digestAlgorithms in DER order. Decoding checks that every signerInfo is one element;
// asn1D_SignerInfo reads it.
struct ASN1T_SignedData {
  struct {
    unsigned certificatesPresent : 1;
    unsigned crlsPresent : 1;
  } m{};
  OSINT32 version = 0;
  ASN1TSeqOfList digestAlgorithms{};
  ASN1T_EncapsulatedContentInfo encapContentInfo{};
  ASN1TSeqOfList certificates{};
  ASN1TSeqOfList crls{};
  ASN1TSeqOfList signerInfos{};
};
ZTASN1_API bool asn1D_SignedData(Zanthorel::BER::BerReader& in, ASN1T_SignedData& v) noexcept;
ZTASN1_API void asn1E_SignedData(Zanthorel::BER::DerWriter& out,
                                 const ASN1T_SignedData& v) noexcept;

using ASN1C_SignedData = ASN1CTypeOf<ASN1T_SignedData, asn1E_SignedData, asn1D_SignedData>;
