// CMSRequest: the Authenticode time-stamp request, in which a code-signing client sends the
// encrypted digest of its signature to a time-stamp server.
//
//   CContentInfo data("1.2.840.113549.1.7.1", toOctetString(encryptedDigest));
//   CMSRequest request("1.3.6.1.4.1.311.3.2.1", data);
//   CBlob der = request.encode();            // sent base64-encoded over HTTP
//
//   CMSRequest received;
//   received.decode(der);                     // throws CRYPT_E_ASN1_INTERNAL for other bytes
//   received.get_contentInfo().get_content();
//
// Nothing is checked: whatever the object holds is encoded, whatever decodes is taken. Failures
// are thrown as ATL::CAtlException carrying an HRESULT.
#pragma once

#include "outside/ztasn1/attributes.h"
#include "outside/ztasn1/content_info.h"
#include "outside/ztlib/blob.h"
#include "sdk/atl_exception.h"
#include "sdk/export.h"

namespace Zanthorel {
namespace PKI {
namespace TSP {

struct CMSRequestImpl;

class ZTTSP_API CMSRequest {
 public:
  // Empty identifier, no attributes, an empty content info.
  CMSRequest();
  // `timeStampAlgorithm` is dotted text and must not be null.
  CMSRequest(const char* timeStampAlgorithm, const ASN1::CContentInfo& contentInfo);
  CMSRequest(const CMSRequest& other);
  CMSRequest& operator=(const CMSRequest& other);
  ~CMSRequest();

  // Never null; empty text when unset.
  const char* get_timeStampAlgorithm() const;
  // `timeStampAlgorithm` must not be null.
  void put_timeStampAlgorithm(const char* timeStampAlgorithm);
  const ASN1::CContentInfo& get_contentInfo() const;
  void put_contentInfo(const ASN1::CContentInfo& contentInfo);
  // Null when absent; a decoded present list may be empty.
  const ASN1::CAttributes* get_attributes() const;
  // Takes a copy before letting go of the old list (so the object's own list may be passed);
  // null removes the attributes.
  void put_attributes(const ASN1::CAttributes* attributes);

  // The DER encoding; an empty attribute list is left out. Throws CRYPT_E_ASN1_INTERNAL when
  // the request cannot be encoded (no identifier, for one).
  CBlob encode() const;
  // Fills the request from `encoded`. Bytes that are no request throw CRYPT_E_ASN1_INTERNAL and
  // change nothing.
  void decode(const CBlob& encoded);

 private:
  void clear();

  CMSRequestImpl* impl_;
};

}  // namespace TSP
}  // namespace PKI
}  // namespace Zanthorel
