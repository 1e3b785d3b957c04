// CToken: the RFC 3161 time-stamp token, the TSTInfo that an authority asserts together with the
// CMS SignedData that carries and signs it. CAccuracy: the accuracy of its time.
//
//   // Server: the request's imprint, the authority's policy, serial number and time.
//   CToken token("1.3.6.1.4.1.99999.7.1", request.get_hashAlgorithm(),
//                request.get_hashedMessage(), serial, CDateTime::now(), false);
//   token.put_nonce(request.get_nonce());
//   CAccuracy accuracy(1);
//   token.put_accuracy(&accuracy);
//   token.sign(provider, AT_SIGNATURE, certificate, sha256);
//   CBlob der = token.encode();
//
//   // Client:
//   CToken received;
//   received.decode(der);
//   received.verify(authorityCertificate);
//   received.get_genTimeZ();                  // "20240621071205.884Z"
//
// A token is Unsigned (as built), Signed (after sign), Decoded (after decode: encode gives back
// exactly the decoded bytes) or Decoded and changed (after a put_ on a Decoded token). Copies
// share the signed or decoded message. Failures are thrown as ATL::CAtlException carrying an
// HRESULT.
#pragma once

#include <cstdint>

#include "frame/algorithm_identifier_ex.h"
#include "outside/ztasn1/attributes.h"
#include "outside/ztasn1/big_integer.h"
#include "outside/ztasn1/extensions.h"
#include "outside/ztasn1/general_name.h"
#include "outside/ztasn1/signer_info.h"
#include "outside/ztlib/blob.h"
#include "outside/ztlib/date_time.h"
#include "outside/ztlib/dll_list.h"
#include "sdk/atl_exception.h"
#include "sdk/export.h"

namespace Zanthorel {
namespace PKI {
namespace TSP {

// The accuracy of a token's time. The constructor carries thousands of micros into millis and
// thousands of millis into seconds (wrapping at 2^32); fields written directly keep what was
// written, and comparison does not normalise.
struct ZTTSP_API CAccuracy {
  CAccuracy(std::uint32_t seconds = 0, std::uint32_t millis = 0, std::uint32_t micros = 0);

  std::uint32_t seconds;
  std::uint32_t millis;
  std::uint32_t micros;
};

// Field by field: CAccuracy(1) differs from CAccuracy with millis written as 1000.
ZTTSP_API bool operator==(const CAccuracy& a, const CAccuracy& b);
ZTTSP_API bool operator!=(const CAccuracy& a, const CAccuracy& b);

struct CTokenImpl;

class ZTTSP_API CToken {
 public:
  // Version 1, empty policy, hash and time, no optional field, no message.
  CToken();
  // An unsigned token of version 1 with no optional field. `policy` is dotted text and must not
  // be null; `hashAlgorithm` is kept whole, oidBoundValue included; `genTime` is kept as its
  // GeneralizedTime text.
  CToken(const char* policy, const ASN1::CAlgorithmIdentifierEx& hashAlgorithm,
         const CBlob& hashedMessage, const ASN1::CBigInteger& serialNumber,
         const CDateTime& genTime, bool ordering);
  // The TSTInfo fields are copied through their TSTInfo encoding, so the copy holds them as a
  // decoded token would: the policy re-rendered, an empty extension list absent, accuracy millis
  // and micros cut to 16 bits, the hash algorithm's oidBoundValue 0. Throws what that conversion
  // throws (E_INVALIDARG for a policy that is no identifier). The message is shared.
  CToken(const CToken& other);
  // Releases this token's record, then copies as above; a failed copy leaves a default token.
  CToken& operator=(const CToken& other);
  ~CToken();

  std::uint32_t get_version() const;
  // Never null; empty text when unset.
  const char* get_policy() const;
  const ASN1::CAlgorithmIdentifierEx& get_hashAlgorithm() const;
  const CBlob& get_hashedMessage() const;
  const ASN1::CBigInteger& get_serialNumber() const;
  // The time parsed from get_genTimeZ(); the unset time when that text is no time.
  CDateTime get_genTime() const;
  // The GeneralizedTime text as built or received; never null.
  const char* get_genTimeZ() const;
  bool get_ordering() const;
  // The optional fields: null when absent.
  const CAccuracy* get_accuracy() const;
  const ASN1::CBigInteger* get_nonce() const;
  const ASN1::CGeneralName* get_tsa() const;
  const ASN1::CExtensions* get_extensions() const;
  const ASN1::CAttributes* get_signedAttributes() const;
  const ASN1::CAttributes* get_unsignedAttributes() const;
  const CBlobList* get_certificates() const;
  // The first signer of the signed or decoded message; default before either.
  const ASN1::CSignerInfo& get_signerInfo() const;

  // Each takes a copy of its argument before letting go of the old value (so the token's own
  // value may be passed); null removes the field. Each drops the decoded bytes, so that encode
  // no longer returns them; none touches the message.
  void put_accuracy(const CAccuracy* accuracy);
  void put_nonce(const ASN1::CBigInteger* nonce);
  void put_tsa(const ASN1::CGeneralName* tsa);
  void put_extensions(const ASN1::CExtensions* extensions);
  void put_signedAttributes(const ASN1::CAttributes* signedAttributes);
  void put_unsignedAttributes(const ASN1::CAttributes* unsignedAttributes);
  void put_certificates(const CBlobList* certificates);

  // Signs the TSTInfo into a CMS SignedData held by the token. `hCryptProv` (an HCRYPTPROV)
  // holds the key named by `dwKeySpec`; `certificate` is the signer's encoded certificate and
  // `hashAlgorithm` the signature's digest. Only the token's own certificates are carried.
  void sign(std::uintptr_t hCryptProv, std::uint32_t dwKeySpec, const CBlob& certificate,
            const ASN1::CAlgorithmIdentifierEx& hashAlgorithm);
  // The decoded bytes when there are any, else the held message.
  // Throws E_FAIL when the token was neither signed nor decoded.
  CBlob encode() const;
  // Replaces the token with the TimeStampToken in `encoded`, kept to be returned by encode.
  void decode(const CBlob& encoded);
  // Whether the held message has exactly one signer whose signature verifies with
  // `certificate`. Throws E_FAIL when there is no message.
  bool verify(const CBlob& certificate) const;

 private:
  void clear();

  CTokenImpl* impl_;
};

}  // namespace TSP
}  // namespace PKI
}  // namespace Zanthorel
