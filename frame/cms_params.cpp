#include "frame/cms_params.h"

#include <cstring>
#include <stdexcept>

#include "frame/errors.h"

namespace Zanthorel {
namespace PKI {
namespace TSP {
namespace {

// Growable arrays refuse to grow past their largest size the way the Windows runtime's do.
template <class T>
void reserveStore(std::vector<T>& store, std::size_t count) {
  if (count > store.max_size()) throw std::length_error("vector<T> too long");
  store.reserve(count);
}

template <class T>
void appendToStore(std::vector<T>& store, T&& value) {
  if (store.size() == store.max_size()) throw std::length_error("vector<T> too long");
  store.push_back(std::move(value));
}

std::size_t valueCount(const ASN1::CAttributes* list) {
  std::size_t count = 0;
  if (list != nullptr) {
    for (const ASN1::CAttribute& attribute : *list)
      count += attribute.size();
  }
  return count;
}

bool hasItems(const ASN1::CAttributes* list) {
  return list != nullptr && !list->empty();
}

}  // namespace

std::vector<CRYPT_ATTRIBUTE> toCryptAttributes(const ASN1::CAttributes& source,
                                               std::vector<CBlob>& oidCopies,
                                               std::vector<CRYPT_ATTR_BLOB>& valueBlobs,
                                               std::vector<CBlob>& valueCopies) {
  std::vector<CRYPT_ATTRIBUTE> result;
  reserveStore(result, source.size());
  for (const ASN1::CAttribute& attribute : source) {
    for (const ASN1::CAttrValue& value : attribute) {
      appendToStore(valueBlobs, CRYPT_ATTR_BLOB{0, nullptr});
      appendToStore(valueCopies, CBlob(value.get_value()));
      valueBlobs.back().cbData = valueCopies.back().cbData();
      valueBlobs.back().pbData = valueCopies.back().pbData();
    }
    const char* oid = attribute.get_oid();
    const auto length = static_cast<std::uint32_t>(std::strlen(oid));
    appendToStore(oidCopies, CBlob(length + 1));
    CBlob& oidCopy = oidCopies.back();
    CheckCrtError(strcpy_s(reinterpret_cast<char*>(oidCopy.pbData()), oidCopy.cbData(), oid));

    const auto count = static_cast<DWORD>(attribute.size());
    CRYPT_ATTRIBUTE element{};
    element.pszObjId = reinterpret_cast<LPSTR>(oidCopy.pbData());
    element.cValue = count;
    // The attribute's values are the last `count` entries appended; none gives no array.
    element.rgValue = count != 0 ? &valueBlobs[valueBlobs.size() - count] : nullptr;
    appendToStore(result, std::move(element));
  }
  return result;
}

std::vector<CERT_BLOB> toCertBlobs(const CBlobList& source, std::vector<CBlob>& certCopies) {
  std::vector<CERT_BLOB> result;
  reserveStore(result, source.size());
  for (const CBlob& certificate : source) {
    appendToStore(result, CERT_BLOB{0, nullptr});
    appendToStore(certCopies, CBlob(certificate));
    result.back().cbData = certCopies.back().cbData();
    result.back().pbData = certCopies.back().pbData();
  }
  return result;
}

ASN1::CAttributes fromCryptAttributes(const CRYPT_ATTRIBUTES& block) {
  ASN1::CAttributes result;
  for (DWORD i = 0; i < block.cAttr; ++i) {
    const CRYPT_ATTRIBUTE& source = block.rgAttr[i];
    ASN1::CAttribute attribute(source.pszObjId);
    for (DWORD j = 0; j < source.cValue; ++j) {
      attribute.add(CBlob(source.rgValue[j].pbData, source.rgValue[j].cbData));
    }
    result.push_back(std::move(attribute));
  }
  return result;
}

CmsSignParameters::CmsSignParameters(PCCERT_CONTEXT signer, HCRYPTPROV provider, DWORD keySpec,
                                     const ASN1::CAlgorithmIdentifier& hashAlgorithm,
                                     const ASN1::CAttributes* authenticated,
                                     const ASN1::CAttributes* unauthenticated,
                                     const CBlobList* certificates)
    : hashParameters_(hashAlgorithm.get_parameters()) {
  // Room for every attribute and every value of both lists before the first conversion, so
  // that no entry moves while the first array points at it.
  const std::size_t attributes =
      (authenticated ? authenticated->size() : 0) + (unauthenticated ? unauthenticated->size() : 0);
  const std::size_t values = valueCount(authenticated) + valueCount(unauthenticated);
  reserveStore(stores_.oidCopies, attributes);
  reserveStore(stores_.valueBlobs, values);
  reserveStore(stores_.valueCopies, values);

  signer_.cbSize = kSignerEncodeInfoBasicSize;
  signer_.pCertInfo = signer->pCertInfo;
  signer_.hCryptProv = provider;
  signer_.dwKeySpec = keySpec;
  signer_.HashAlgorithm.pszObjId = const_cast<LPSTR>(hashAlgorithm.get_algorithm());
  signer_.HashAlgorithm.Parameters.cbData = hashParameters_.cbData();
  signer_.HashAlgorithm.Parameters.pbData = hashParameters_.pbData();
  signer_.pvHashAuxInfo = nullptr;
  if (hasItems(authenticated)) {
    authenticated_ = toCryptAttributes(*authenticated, stores_.oidCopies, stores_.valueBlobs,
                                       stores_.valueCopies);
    signer_.cAuthAttr = static_cast<DWORD>(authenticated_.size());
    signer_.rgAuthAttr = authenticated_.data();
  }
  if (hasItems(unauthenticated)) {
    unauthenticated_ = toCryptAttributes(*unauthenticated, stores_.oidCopies, stores_.valueBlobs,
                                         stores_.valueCopies);
    signer_.cUnauthAttr = static_cast<DWORD>(unauthenticated_.size());
    signer_.rgUnauthAttr = unauthenticated_.data();
  }

  signedInfo_.cbSize = kSignedEncodeInfoBasicSize;
  signedInfo_.cSigners = 1;
  signedInfo_.rgSigners = &signer_;
  if (certificates != nullptr && !certificates->empty()) {
    reserveStore(stores_.certCopies, certificates->size());
    certificates_ = toCertBlobs(*certificates, stores_.certCopies);
    signedInfo_.cCertEncoded = static_cast<DWORD>(certificates_.size());
    signedInfo_.rgCertEncoded = certificates_.data();
  }
}

}  // namespace TSP
}  // namespace PKI
}  // namespace Zanthorel
