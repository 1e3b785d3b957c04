// The bridge between the library's attribute and certificate lists and the flat arrays that the
// CMS message functions take and give back.
//
// The arrays point only into keep-alive stores that belong to one signing call, never into the
// caller's lists, so a list may change or go while the message is built. Stores are reserved up
// front and never move an entry while a pointer into it is held.
#pragma once

#include <vector>

#include "outside/ztasn1/algorithm_identifier.h"
#include "outside/ztasn1/attributes.h"
#include "outside/ztlib/blob.h"
#include "outside/ztlib/dll_list.h"
#include "sdk/win32.h"

namespace Zanthorel {
namespace PKI {
namespace TSP {

// Every byte that the arrays of one signing call point at.
struct CmsKeepAliveStores {
  std::vector<CBlob> oidCopies;             // one per attribute: its OID text and a NUL
  std::vector<CRYPT_ATTR_BLOB> valueBlobs;  // one per value: length and address in valueCopies
  std::vector<CBlob> valueCopies;           // one per value: its encoding
  std::vector<CBlob> certCopies;            // one per certificate: its encoding
};

// `source` as CRYPT_ATTRIBUTEs, in list order, appending to the attribute stores. Each
// attribute's rgValue points at its own contiguous run of valueBlobs.
std::vector<CRYPT_ATTRIBUTE> toCryptAttributes(const ASN1::CAttributes& source,
                                               std::vector<CBlob>& oidCopies,
                                               std::vector<CRYPT_ATTR_BLOB>& valueBlobs,
                                               std::vector<CBlob>& valueCopies);

// `source` as CERT_BLOBs, in list order, appending copies to `certCopies`.
std::vector<CERT_BLOB> toCertBlobs(const CBlobList& source, std::vector<CBlob>& certCopies);

// A new list with a copy of every attribute and value of `block`, in order; nothing is checked
// or merged, so the block may be released as soon as this returns.
ASN1::CAttributes fromCryptAttributes(const CRYPT_ATTRIBUTES& block);

// The signer and signed-message parameter blocks of one signing call, in their basic sizes
// (96 and 48 bytes), with the arrays and stores they point at. Absent and empty lists are both
// handed over as count 0 and a null array.
class CmsSignParameters {
 public:
  CmsSignParameters(PCCERT_CONTEXT signer, HCRYPTPROV provider, DWORD keySpec,
                    const ASN1::CAlgorithmIdentifier& hashAlgorithm,
                    const ASN1::CAttributes* authenticated,
                    const ASN1::CAttributes* unauthenticated, const CBlobList* certificates);
  CmsSignParameters(const CmsSignParameters&) = delete;
  CmsSignParameters& operator=(const CmsSignParameters&) = delete;

  CMSG_SIGNED_ENCODE_INFO* signedInfo() noexcept { return &signedInfo_; }
  const CMSG_SIGNER_ENCODE_INFO& signer() const noexcept { return signer_; }

 private:
  CmsKeepAliveStores stores_;
  CBlob hashParameters_;
  std::vector<CRYPT_ATTRIBUTE> authenticated_;
  std::vector<CRYPT_ATTRIBUTE> unauthenticated_;
  std::vector<CERT_BLOB> certificates_;
  CMSG_SIGNER_ENCODE_INFO signer_{};
  CMSG_SIGNED_ENCODE_INFO signedInfo_{};
};

// Sizes of the parameter blocks without their CMS-only fields.
constexpr DWORD kSignerEncodeInfoBasicSize = 96;
constexpr DWORD kSignedEncodeInfoBasicSize = 48;

}  // namespace TSP
}  // namespace PKI
}  // namespace Zanthorel
