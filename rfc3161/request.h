// CRequest: the RFC 3161 TimeStampReq, in which a client asks a time-stamp authority to stamp
// the hash of its data.
//
//   CAlgorithmIdentifierEx sha256("2.16.840.1.101.3.4.2.1", CBlob("\x05\x00", 2));
//   CRequest request(sha256, digest, /*certReq=*/true);
//   request.put_nonce(&nonce);
//   CBlob der = request.encode();            // send with Content-Type application/timestamp-query
//
//   CRequest received;
//   received.decode(der);                     // throws CRYPT_E_ASN1_INTERNAL for other bytes
//   received.get_hashedMessage();
//
// Failures are thrown as ATL::CAtlException carrying an HRESULT.
#pragma once

#include <cstdint>

#include "frame/algorithm_identifier_ex.h"
#include "outside/ztasn1/big_integer.h"
#include "outside/ztasn1/extensions.h"
#include "outside/ztlib/blob.h"
#include "sdk/atl_exception.h"
#include "sdk/export.h"

namespace Zanthorel {
namespace PKI {
namespace TSP {

struct CRequestImpl;

class ZTTSP_API CRequest {
 public:
  // A request of version 1 with no algorithm, an empty hash and certReq false.
  CRequest();
  // A request for `hashedMessage`, the hash made with `hashAlgorithm` (whose oidBoundValue is
  // kept). Nothing is checked.
  CRequest(const ASN1::CAlgorithmIdentifierEx& hashAlgorithm, const CBlob& hashedMessage,
           bool certReq);
  CRequest(const CRequest& other);
  CRequest& operator=(const CRequest& other);
  ~CRequest();

  std::uint32_t get_version() const;
  const ASN1::CAlgorithmIdentifierEx& get_hashAlgorithm() const;
  const CBlob& get_hashedMessage() const;
  bool get_certReq() const;
  // The policy as dotted text, or null when there is none.
  const char* get_reqPolicy() const;
  const ASN1::CBigInteger* get_nonce() const;
  // Null when absent; a present list may be empty.
  const ASN1::CExtensions* get_extensions() const;

  // Each takes a copy of its argument before letting go of the old value; null removes the field.
  void put_reqPolicy(const char* reqPolicy);
  void put_nonce(const ASN1::CBigInteger* nonce);
  void put_extensions(const ASN1::CExtensions* extensions);

  // The DER encoding. An empty extension list is left out. Throws CRYPT_E_ASN1_INTERNAL when
  // the request cannot be encoded (no algorithm, for one).
  CBlob encode() const;
  // Replaces the whole request with the one encoded in `encoded`. Empty input throws
  // E_INVALIDARG and changes nothing; input that is no TimeStampReq throws
  // CRYPT_E_ASN1_INTERNAL and leaves a default request.
  void decode(const CBlob& encoded);

 private:
  void clear();

  CRequestImpl* impl_;
};

}  // namespace TSP
}  // namespace PKI
}  // namespace Zanthorel
