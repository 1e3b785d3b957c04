// Codec of the CMS and PKCS #7 types that time-stamp messages carry (RFC 5652, RFC 2315):
// ContentInfo, Attribute, SignerInfo.
#pragma once

#include "outside/asn1/pkix.h"

// ContentInfo ::= SEQUENCE {
//   contentType  ContentType,
//   content      [0] EXPLICIT ANY DEFINED BY contentType OPTIONAL }   -- OPTIONAL in PKCS #7
struct ASN1T_ContentInfo {
  struct {
    unsigned contentPresent : 1;
  } m{};
  ASN1OBJID contentType{};
  ASN1OpenType content{};  // the element inside [0], as received
};
ZTASN1_API bool asn1D_ContentInfo(Zanthorel::BER::BerReader& in, ASN1T_ContentInfo& v) noexcept;
ZTASN1_API void asn1E_ContentInfo(Zanthorel::BER::DerWriter& out,
                                  const ASN1T_ContentInfo& v) noexcept;
// Whether `element`, one ContentInfo, is what asn1E_ContentInfo writes of it: its own identifier
// and length octets, and its contentType's, are DER (definite, minimal). Its content is carried
// as received either way.
ZTASN1_API bool asn1IsDerContentInfo(const ASN1OpenType& element) noexcept;

// Attribute ::= SEQUENCE {
//   attrType    OBJECT IDENTIFIER,
//   attrValues  SET OF AttributeValue }          -- list of ASN1OpenType
struct ASN1T_Attribute {
  ASN1OBJID attrType{};
  ASN1TSeqOfList attrValues{};
};
ZTASN1_API bool asn1D_Attribute(Zanthorel::BER::BerReader& in, ASN1T_Attribute& v) noexcept;
ZTASN1_API void asn1E_Attribute(Zanthorel::BER::DerWriter& out, const ASN1T_Attribute& v) noexcept;

// Attributes ::= SET OF Attribute                 -- list of ASN1T_Attribute
// Written in DER order; read in any order.
typedef ASN1TSeqOfList ASN1T_Attributes;
ZTASN1_API bool asn1D_Attributes(Zanthorel::BER::BerReader& in, ASN1T_Attributes& v,
                                 ASN1TAG tag = kTagSet) noexcept;
ZTASN1_API void asn1E_Attributes(Zanthorel::BER::DerWriter& out, const ASN1T_Attributes& v,
                                 ASN1TAG tag = kTagSet) noexcept;

// IssuerAndSerialNumber ::= SEQUENCE { issuer Name, serialNumber CertificateSerialNumber }
// The issuer is carried as its element (read as a Name, kept as received): a signer is matched to
// a certificate by comparing it with the certificate's issuer octet for octet, and a signer
// writes its certificate's issuer exactly as it is encoded there.
struct ASN1T_IssuerAndSerialNumber {
  ASN1OpenType issuer{};
  ASN1DynOctStr serialNumber{};  // the INTEGER's two's-complement contents octets
};

// SignerIdentifier ::= CHOICE {
//   issuerAndSerialNumber  IssuerAndSerialNumber,
//   subjectKeyIdentifier   [0] SubjectKeyIdentifier }
enum { T_SignerIdentifier_issuerAndSerialNumber = 1, T_SignerIdentifier_subjectKeyIdentifier };
struct ASN1T_SignerIdentifier {
  int t = 0;
  union {
    ASN1T_IssuerAndSerialNumber* issuerAndSerialNumber;
    ASN1DynOctStr* subjectKeyIdentifier;
  } u{};
};

// SignerInfo ::= SEQUENCE {
//   version             CMSVersion,
//   sid                 SignerIdentifier,
//   digestAlgorithm     DigestAlgorithmIdentifier,
//   signedAttrs         [0] IMPLICIT SignedAttributes OPTIONAL,
//   signatureAlgorithm  SignatureAlgorithmIdentifier,
//   signature           SignatureValue,
//   unsignedAttrs       [1] IMPLICIT UnsignedAttributes OPTIONAL }
// The PKCS #7 SignerInfo has the same shape with other field names.
// signedAttrs are written in DER order, the SET OF sorted by encoding, which the signature covers.
// unsignedAttrs are written in list order, as Windows writes a caller's unsigned attributes:
// nothing signs them, and a decoded signer's attributes keep their order when written again.
struct ASN1T_SignerInfo {
  struct {
    unsigned signedAttrsPresent : 1;
    unsigned unsignedAttrsPresent : 1;
  } m{};
  const char* version = nullptr;
  ASN1T_SignerIdentifier sid{};
  ASN1T_AlgorithmIdentifier digestAlgorithm{};
  ASN1T_Attributes signedAttrs{};
  ASN1T_AlgorithmIdentifier signatureAlgorithm{};
  ASN1DynOctStr signature{};
  ASN1T_Attributes unsignedAttrs{};
  // Decoding only: the signedAttrs element exactly as received. The signature covers these
  // octets (with the tag made SET), not a re-encoding: real signers send them unsorted.
  ASN1OpenType signedAttrsEncoding{};
};
ZTASN1_API bool asn1D_SignerInfo(Zanthorel::BER::BerReader& in, ASN1T_SignerInfo& v) noexcept;
ZTASN1_API void asn1E_SignerInfo(Zanthorel::BER::DerWriter& out,
                                 const ASN1T_SignerInfo& v) noexcept;

using ASN1C_ContentInfo = ASN1CTypeOf<ASN1T_ContentInfo, asn1E_ContentInfo, asn1D_ContentInfo>;
using ASN1C_Attribute = ASN1CTypeOf<ASN1T_Attribute, asn1E_Attribute, asn1D_Attribute>;
using ASN1C_SignerInfo = ASN1CTypeOf<ASN1T_SignerInfo, asn1E_SignerInfo, asn1D_SignerInfo>;
