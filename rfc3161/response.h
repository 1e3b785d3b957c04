// CResponse: the RFC 3161 TimeStampResp, an authority's answer: a status and, optionally, the
// time-stamp token.
//
//   // Server:
//   CResponse response;                       // rejection (2) until a status is put
//   response.put_status(CPKIStatusInfo(granted));
//   response.put_timeStampToken(&token);      // a signed CToken, copied
//   CBlob der = response.encode();            // send as application/timestamp-reply
//
//   // Client:
//   CResponse received;
//   received.decode(der);
//   if (received.get_status().get_status() == granted && received.get_timeStampToken())
//     received.get_timeStampToken()->verify(authorityCertificate);
//
// Status and token are independent: a granted status may come without a token and a rejection
// with one. Failures are thrown as ATL::CAtlException carrying an HRESULT.
#pragma once

#include "outside/ztasn1/pki_status_info.h"
#include "outside/ztlib/blob.h"
#include "rfc3161/token.h"
#include "sdk/atl_exception.h"
#include "sdk/export.h"

namespace Zanthorel {
namespace PKI {
namespace TSP {

struct CResponseImpl;

class ZTTSP_API CResponse {
 public:
  // Status rejection (2), no token.
  CResponse();
  // Copies the status and, with the CToken copy constructor, the token.
  CResponse(const CResponse& other);
  CResponse& operator=(const CResponse& other);
  ~CResponse();

  const ASN1::CPKIStatusInfo& get_status() const;
  void put_status(const ASN1::CPKIStatusInfo& status);
  // The held token, or null when there is none.
  const CToken* get_timeStampToken() const;
  // Null removes the token; otherwise a copy replaces it (so the response's own may be passed).
  void put_timeStampToken(const CToken* timeStampToken);

  // The DER TimeStampResp, embedding the token's own encoding. Throws what CToken::encode throws
  // (E_FAIL for a token neither signed nor decoded) and CRYPT_E_ASN1_INTERNAL.
  CBlob encode() const;
  // Replaces the response with the one in `encoded`, decoding its token with CToken::decode.
  // Empty input throws E_INVALIDARG and changes nothing; input that is no TimeStampResp throws
  // CRYPT_E_ASN1_INTERNAL and leaves a default response; a token that does not decode throws
  // its error and is kept as CToken::decode leaves it, beside the status received.
  void decode(const CBlob& encoded);

 private:
  void clear();

  CResponseImpl* impl_;
};

}  // namespace TSP
}  // namespace PKI
}  // namespace Zanthorel
