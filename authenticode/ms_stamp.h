// CMSStamp: the Authenticode time stamp, the PKCS #7 signed message with which a time-stamp server
// answers a CMSRequest. It carries the stamped content as data, the signing time as the signer's
// signingTime attribute, and certificates.
//
//   // Server: the content of the request, stamped now.
//   CMSStamp stamp(request.get_contentInfo().get_content(), CDateTime::now());
//   stamp.put_certificates(&chain);
//   stamp.sign(provider, AT_SIGNATURE, certificate, sha256);
//   CBlob der = stamp.encode();              // sent base64-encoded over HTTP
//
//   // Client:
//   CMSStamp received;
//   received.decode(der);
//   received.verify(serverCertificate);
//   received.get_signingTime();
//
// A stamp is without signer (as built) or with signer (after sign, for good). With a signer,
// every put_ signs the message again at once with the signer kept from sign, and encode returns
// the last message signed or decoded; without one, put_ only stores and encode throws E_FAIL.
// Each stamp with a signer holds its own reference on the provider handle. Failures are thrown as
// ATL::CAtlException carrying an HRESULT.
#pragma once

#include <cstdint>

#include "frame/algorithm_identifier_ex.h"
#include "outside/ztasn1/signer_info.h"
#include "outside/ztlib/blob.h"
#include "outside/ztlib/date_time.h"
#include "outside/ztlib/dll_list.h"
#include "sdk/atl_exception.h"
#include "sdk/export.h"

namespace Zanthorel {
namespace PKI {
namespace TSP {

struct CMSStampImpl;

class ZTTSP_API CMSStamp {
 public:
  // Empty content, the unset time, no certificates, no signer.
  CMSStamp();
  // `content` is the DER OCTET STRING of the bytes to stamp (a request's content as it is).
  // Nothing is signed yet.
  CMSStamp(const CBlob& content, const CDateTime& signingTime);
  // The copy has the other's signer, with a provider reference of its own.
  CMSStamp(const CMSStamp& other);
  CMSStamp& operator=(const CMSStamp& other);
  ~CMSStamp();

  // The content as a DER OCTET STRING.
  const CBlob& get_content() const;
  // Const to its callers, as exported; the stamp changes all the same.
  void put_content(const CBlob& content) const;
  const CDateTime& get_signingTime() const;
  // The message carries whole seconds.
  void put_signingTime(const CDateTime& signingTime);
  // Null when absent.
  const CBlobList* get_certificates() const;
  // Takes a copy before letting go of the old list (so the stamp's own list may be passed); null
  // removes the certificates.
  void put_certificates(const CBlobList* certificates);
  // The first signer of the last message signed or decoded.
  ASN1::CSignerInfo get_signerInfo() const;

  // The last message signed or decoded; E_FAIL while the stamp has no signer.
  CBlob encode() const;
  // Reads content, signing time and certificates from a PKCS #7 signed message; certificates are
  // kept when the message carries none, and the signer is kept. A signer without signingTime
  // throws CRYPT_E_BAD_MSG. The signature is not checked.
  void decode(const CBlob& encoded);

  // Keeps the signer (`hCryptProv`, an HCRYPTPROV, with a reference of the stamp's own, the key
  // `dwKeySpec`, the signer's DER `certificate` and the digest `hashAlgorithm`) and signs. The
  // stamp has a signer from here on, also when the signing fails.
  void sign(std::uintptr_t hCryptProv, std::uint32_t dwKeySpec, const CBlob& certificate,
            const ASN1::CAlgorithmIdentifierEx& hashAlgorithm);
  // Whether the signer that `certificate` names signed the message, by its public key. Neither
  // the content, nor the certificate's validity, nor the stamp's certificates are looked at.
  bool verify(const CBlob& certificate) const;

 private:
  void clear();
  // Builds and signs the message from the fields when there is a signer.
  void signMessage() const;

  CMSStampImpl* impl_;
};

}  // namespace TSP
}  // namespace PKI
}  // namespace Zanthorel
