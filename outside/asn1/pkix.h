// Codec of the X.509 types that time-stamp messages carry (RFC 5280): AlgorithmIdentifier,
// Extensions, Name and GeneralName.
//
// For each type: a structure ASN1T_<Type>, a decoder asn1D_<Type> (reads one value, records the
// failure in the reader's context) and an encoder asn1E_<Type> (writes DER). Types used with
// implicit tags take the tag to use.
#pragma once

#include "outside/asn1rt/asn1_buffers.h"
#include "outside/asn1rt/asn1_seqof.h"

// AlgorithmIdentifier ::= SEQUENCE {
//   algorithm   OBJECT IDENTIFIER,
//   parameters  ANY DEFINED BY algorithm OPTIONAL }
struct ASN1T_AlgorithmIdentifier {
  struct {
    unsigned parametersPresent : 1;
  } m{};
  ASN1OBJID algorithm{};
  ASN1OpenType parameters{};  // the complete parameters element, e.g. 05 00
};
ZTASN1_API bool asn1D_AlgorithmIdentifier(Zanthorel::BER::BerReader& in,
                                          ASN1T_AlgorithmIdentifier& v) noexcept;
ZTASN1_API void asn1E_AlgorithmIdentifier(Zanthorel::BER::DerWriter& out,
                                          const ASN1T_AlgorithmIdentifier& v) noexcept;

// Extension ::= SEQUENCE {
//   extnID     OBJECT IDENTIFIER,
//   critical   BOOLEAN DEFAULT FALSE,
//   extnValue  OCTET STRING }
struct ASN1T_Extension {
  ASN1OBJID extnID{};
  OSBOOL critical = 0;
  ASN1DynOctStr extnValue{};
};
// Extensions ::= SEQUENCE SIZE (1..MAX) OF Extension      -- list of ASN1T_Extension
typedef ASN1TSeqOfList ASN1T_Extensions;
ZTASN1_API bool asn1D_Extensions(Zanthorel::BER::BerReader& in, ASN1T_Extensions& v,
                                 ASN1TAG tag = kTagSequence) noexcept;
ZTASN1_API void asn1E_Extensions(Zanthorel::BER::DerWriter& out, const ASN1T_Extensions& v,
                                 ASN1TAG tag = kTagSequence) noexcept;

// AttributeTypeAndValue ::= SEQUENCE { type AttributeType, value AttributeValue }
struct ASN1T_AttributeTypeAndValue {
  ASN1OBJID type{};
  ASN1OpenType value{};
};
// RelativeDistinguishedName ::= SET SIZE (1..MAX) OF AttributeTypeAndValue
typedef ASN1TSeqOfList ASN1T_RelativeDistinguishedName;
// Name ::= CHOICE { rdnSequence RDNSequence }
// RDNSequence ::= SEQUENCE OF RelativeDistinguishedName    -- list of ASN1TSeqOfList
struct ASN1T_Name {
  ASN1TSeqOfList rdnSequence{};
};
ZTASN1_API bool asn1D_Name(Zanthorel::BER::BerReader& in, ASN1T_Name& v) noexcept;
ZTASN1_API void asn1E_Name(Zanthorel::BER::DerWriter& out, const ASN1T_Name& v) noexcept;
// A Name checked as asn1D_Name reads it and given as its element, as received.
ZTASN1_API bool asn1D_NameElement(Zanthorel::BER::BerReader& in, ASN1OpenType& v) noexcept;

// DirectoryString ::= CHOICE { teletexString TeletexString, printableString PrintableString,
//   universalString UniversalString, utf8String UTF8String, bmpString BMPString }
// Held as the universal tag of the alternative and its octets.
struct ASN1T_DirectoryString {
  ASN1TAG tag = 0;
  ASN1DynOctStr value{};
};
ZTASN1_API bool asn1D_DirectoryString(Zanthorel::BER::BerReader& in,
                                      ASN1T_DirectoryString& v) noexcept;
ZTASN1_API void asn1E_DirectoryString(Zanthorel::BER::DerWriter& out,
                                      const ASN1T_DirectoryString& v) noexcept;

// AnotherName ::= SEQUENCE { type-id OBJECT IDENTIFIER, value [0] EXPLICIT ANY DEFINED BY type-id }
struct ASN1T_AnotherName {
  ASN1OBJID type_id{};
  ASN1OpenType value{};
};

// EDIPartyName ::= SEQUENCE {
//   nameAssigner  [0] DirectoryString OPTIONAL,
//   partyName     [1] DirectoryString }
struct ASN1T_EDIPartyName {
  struct {
    unsigned nameAssignerPresent : 1;
  } m{};
  ASN1T_DirectoryString nameAssigner{};
  ASN1T_DirectoryString partyName{};
};

// GeneralName ::= CHOICE {
//   otherName                  [0] AnotherName,
//   rfc822Name                 [1] IA5String,
//   dNSName                    [2] IA5String,
//   x400Address                [3] ORAddress,
//   directoryName              [4] Name,
//   ediPartyName               [5] EDIPartyName,
//   uniformResourceIdentifier  [6] IA5String,
//   iPAddress                  [7] OCTET STRING,
//   registeredID               [8] OBJECT IDENTIFIER }
// `t` is the alternative's tag number plus 1 (T_GeneralName_*); 0 means none is set.
enum {
  T_GeneralName_otherName = 1,
  T_GeneralName_rfc822Name,
  T_GeneralName_dNSName,
  T_GeneralName_x400Address,
  T_GeneralName_directoryName,
  T_GeneralName_ediPartyName,
  T_GeneralName_uniformResourceIdentifier,
  T_GeneralName_iPAddress,
  T_GeneralName_registeredID
};
struct ASN1T_GeneralName {
  int t = 0;
  union {
    ASN1T_AnotherName* otherName;
    const char* rfc822Name;
    const char* dNSName;
    ASN1OpenType* x400Address;  // the complete [3] element; ORAddress is carried, not parsed
    ASN1T_Name* directoryName;
    ASN1T_EDIPartyName* ediPartyName;
    const char* uniformResourceIdentifier;
    ASN1DynOctStr* iPAddress;
    ASN1OBJID* registeredID;
  } u{};
};
ZTASN1_API bool asn1D_GeneralName(Zanthorel::BER::BerReader& in, ASN1T_GeneralName& v) noexcept;
ZTASN1_API void asn1E_GeneralName(Zanthorel::BER::DerWriter& out,
                                  const ASN1T_GeneralName& v) noexcept;

// GeneralNames ::= SEQUENCE SIZE (1..MAX) OF GeneralName       -- list of ASN1T_GeneralName
typedef ASN1TSeqOfList ASN1T_GeneralNames;
ZTASN1_API bool asn1D_GeneralNames(Zanthorel::BER::BerReader& in, ASN1T_GeneralNames& v) noexcept;
ZTASN1_API void asn1E_GeneralNames(Zanthorel::BER::DerWriter& out,
                                   const ASN1T_GeneralNames& v) noexcept;

using ASN1C_AlgorithmIdentifier =
    ASN1CTypeOf<ASN1T_AlgorithmIdentifier, asn1E_AlgorithmIdentifier, asn1D_AlgorithmIdentifier>;
using ASN1C_Name = ASN1CTypeOf<ASN1T_Name, asn1E_Name, asn1D_Name>;
using ASN1C_GeneralName = ASN1CTypeOf<ASN1T_GeneralName, asn1E_GeneralName, asn1D_GeneralName>;
