// Codec of the Time-Stamp Protocol (RFC 3161, module PKIXTSP, IMPLICIT TAGS): TimeStampReq,
// TimeStampResp, the TimeStampToken ContentInfo and TSTInfo.
#pragma once

#include "outside/asn1/cms.h"

// MessageImprint ::= SEQUENCE {
//   hashAlgorithm  AlgorithmIdentifier,
//   hashedMessage  OCTET STRING }
struct ASN1T_MessageImprint {
  ASN1T_AlgorithmIdentifier hashAlgorithm{};
  ASN1DynOctStr hashedMessage{};
};
ZTASN1_API bool asn1D_MessageImprint(Zanthorel::BER::BerReader& in,
                                     ASN1T_MessageImprint& v) noexcept;
ZTASN1_API void asn1E_MessageImprint(Zanthorel::BER::DerWriter& out,
                                     const ASN1T_MessageImprint& v) noexcept;

// TimeStampReq ::= SEQUENCE {
//   version         INTEGER { v1(1) },
//   messageImprint  MessageImprint,
//   reqPolicy       TSAPolicyId OPTIONAL,
//   nonce           INTEGER OPTIONAL,
//   certReq         BOOLEAN DEFAULT FALSE,
//   extensions      [0] IMPLICIT Extensions OPTIONAL }
struct ASN1T_TimeStampReq {
  struct {
    unsigned reqPolicyPresent : 1;
    unsigned noncePresent : 1;
    unsigned extensionsPresent : 1;
  } m{};
  const char* version = nullptr;
  ASN1T_MessageImprint messageImprint{};
  ASN1OBJID reqPolicy{};
  const char* nonce = nullptr;
  OSBOOL certReq = 0;
  ASN1T_Extensions extensions{};
};
ZTASN1_API bool asn1D_TimeStampReq(Zanthorel::BER::BerReader& in, ASN1T_TimeStampReq& v) noexcept;
ZTASN1_API void asn1E_TimeStampReq(Zanthorel::BER::DerWriter& out,
                                   const ASN1T_TimeStampReq& v) noexcept;

// PKIFreeText ::= SEQUENCE SIZE (1..MAX) OF UTF8String         -- list of const char
typedef ASN1TSeqOfList ASN1T_PKIFreeText;
// PKIFailureInfo ::= BIT STRING { badAlg(0), badRequest(2), badDataFormat(5),
//   timeNotAvailable(14), unacceptedPolicy(15), unacceptedExtension(16),
//   addInfoNotAvailable(17), systemFailure(25) }
typedef ASN1DynBitStr ASN1T_PKIFailureInfo;

// PKIStatusInfo ::= SEQUENCE {
//   status        PKIStatus,                 -- INTEGER, 0 granted .. 5 revocationNotification
//   statusString  PKIFreeText OPTIONAL,
//   failInfo      PKIFailureInfo OPTIONAL }
struct ASN1T_PKIStatusInfo {
  struct {
    unsigned statusStringPresent : 1;
    unsigned failInfoPresent : 1;
  } m{};
  OSINT32 status = 0;
  ASN1T_PKIFreeText statusString{};
  ASN1T_PKIFailureInfo failInfo{};
};
ZTASN1_API bool asn1D_PKIStatusInfo(Zanthorel::BER::BerReader& in, ASN1T_PKIStatusInfo& v) noexcept;
ZTASN1_API void asn1E_PKIStatusInfo(Zanthorel::BER::DerWriter& out,
                                    const ASN1T_PKIStatusInfo& v) noexcept;

// TimeStampResp ::= SEQUENCE {
//   status          PKIStatusInfo,
//   timeStampToken  TimeStampToken OPTIONAL }
// TimeStampToken ::= ContentInfo
struct ASN1T_TimeStampResp {
  struct {
    unsigned timeStampTokenPresent : 1;
  } m{};
  ASN1T_PKIStatusInfo status{};
  ASN1T_ContentInfo timeStampToken{};
  // The timeStampToken element whole: decoding gives the octets received; encoding writes these
  // octets, when set, in place of timeStampToken (a token's own encoding is embedded as it is).
  ASN1OpenType timeStampTokenElement{};
};
ZTASN1_API bool asn1D_TimeStampResp(Zanthorel::BER::BerReader& in, ASN1T_TimeStampResp& v) noexcept;
ZTASN1_API void asn1E_TimeStampResp(Zanthorel::BER::DerWriter& out,
                                    const ASN1T_TimeStampResp& v) noexcept;

// Accuracy ::= SEQUENCE {
//   seconds  INTEGER OPTIONAL,
//   millis   [0] INTEGER (1..999) OPTIONAL,
//   micros   [1] INTEGER (1..999) OPTIONAL }
// The ranges are not enforced when reading: values are kept as sent, up to the field widths.
struct ASN1T_Accuracy {
  struct {
    unsigned secondsPresent : 1;
    unsigned millisPresent : 1;
    unsigned microsPresent : 1;
  } m{};
  OSUINT32 seconds = 0;
  OSUINT16 millis = 0;
  OSUINT16 micros = 0;
};
ZTASN1_API bool asn1D_Accuracy(Zanthorel::BER::BerReader& in, ASN1T_Accuracy& v) noexcept;
ZTASN1_API void asn1E_Accuracy(Zanthorel::BER::DerWriter& out, const ASN1T_Accuracy& v) noexcept;

// TSTInfo ::= SEQUENCE {
//   version         INTEGER { v1(1) },
//   policy          TSAPolicyId,
//   messageImprint  MessageImprint,
//   serialNumber    INTEGER,
//   genTime         GeneralizedTime,
//   accuracy        Accuracy OPTIONAL,
//   ordering        BOOLEAN DEFAULT FALSE,
//   nonce           INTEGER OPTIONAL,
//   tsa             [0] GeneralName OPTIONAL,      -- explicit: GeneralName is a CHOICE
//   extensions      [1] IMPLICIT Extensions OPTIONAL }
struct ASN1T_TSTInfo {
  struct {
    unsigned accuracyPresent : 1;
    unsigned noncePresent : 1;
    unsigned tsaPresent : 1;
    unsigned extensionsPresent : 1;
  } m{};
  const char* version = nullptr;
  ASN1OBJID policy{};
  ASN1T_MessageImprint messageImprint{};
  const char* serialNumber = nullptr;
  const char* genTime = nullptr;  // the GeneralizedTime text as sent
  ASN1T_Accuracy accuracy{};
  OSBOOL ordering = 0;
  const char* nonce = nullptr;
  ASN1T_GeneralName tsa{};
  ASN1T_Extensions extensions{};
};
ZTASN1_API bool asn1D_TSTInfo(Zanthorel::BER::BerReader& in, ASN1T_TSTInfo& v) noexcept;
ZTASN1_API void asn1E_TSTInfo(Zanthorel::BER::DerWriter& out, const ASN1T_TSTInfo& v) noexcept;

using ASN1C_TimeStampReq = ASN1CTypeOf<ASN1T_TimeStampReq, asn1E_TimeStampReq, asn1D_TimeStampReq>;
using ASN1C_TimeStampResp =
    ASN1CTypeOf<ASN1T_TimeStampResp, asn1E_TimeStampResp, asn1D_TimeStampResp>;
using ASN1C_TimeStampToken = ASN1CTypeOf<ASN1T_ContentInfo, asn1E_ContentInfo, asn1D_ContentInfo>;
using ASN1C_TSTInfo = ASN1CTypeOf<ASN1T_TSTInfo, asn1E_TSTInfo, asn1D_TSTInfo>;
using ASN1C_PKIStatusInfo =
    ASN1CTypeOf<ASN1T_PKIStatusInfo, asn1E_PKIStatusInfo, asn1D_PKIStatusInfo>;
