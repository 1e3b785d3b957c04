// Codec of the Authenticode time-stamp request.
#pragma once

#include "outside/asn1/cms.h"

// TimeStampRequest ::= SEQUENCE {
//   countersignatureType  OBJECT IDENTIFIER,      -- 1.3.6.1.4.1.311.3.2.1
//   attributes            Attributes OPTIONAL,    -- SET OF Attribute; not sent in practice
//   content               ContentInfo }           -- data: the signature to be stamped
struct ASN1T_TimeStampAuthenticodeRequest {
  struct {
    unsigned attributesPresent : 1;
  } m{};
  ASN1OBJID countersignatureType{};
  ASN1T_Attributes attributes{};
  ASN1T_ContentInfo content{};
};
ZTASN1_API bool asn1D_TimeStampAuthenticodeRequest(Zanthorel::BER::BerReader& in,
                                                   ASN1T_TimeStampAuthenticodeRequest& v) noexcept;
ZTASN1_API void asn1E_TimeStampAuthenticodeRequest(
    Zanthorel::BER::DerWriter& out, const ASN1T_TimeStampAuthenticodeRequest& v) noexcept;

using ASN1C_TimeStampAuthenticodeRequest =
    ASN1CTypeOf<ASN1T_TimeStampAuthenticodeRequest, asn1E_TimeStampAuthenticodeRequest,
                asn1D_TimeStampAuthenticodeRequest>;
