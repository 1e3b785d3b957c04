// The certificate contexts made so far, kept by their encoding. A signer signs with one
// certificate and a verifier checks one authority's signatures again and again; parsing the
// certificate each time (OpenSSL checking every field) cost a fifth of a token's verification.
// The cache holds one reference to each context it keeps, each caller one more; contexts never
// change once made, so threads share them.
#pragma once

#include <cstddef>
#include <mutex>
#include <vector>

#include "platform/certificate_record.h"

namespace Zanthorel {
namespace Platform {

class CertificateCache {
 public:
  // The one cache of the process.
  static CertificateCache& instance();

  CertificateCache() = default;
  CertificateCache(const CertificateCache&) = delete;
  CertificateCache& operator=(const CertificateCache&) = delete;
  ~CertificateCache();

  // Another reference to the context kept for `size` bytes at `encoded` of `encodingType`, or
  // null.
  PCCERT_CONTEXT find(DWORD encodingType, const BYTE* encoded, DWORD size);
  // Keeps a reference to `record`'s context. A full cache starts again empty; encodings longer
  // than real certificates are not kept.
  void add(CertificateRecord& record);

 private:
  static constexpr std::size_t kCapacity = 64;
  static constexpr DWORD kLongestCertificate = 16384;

  struct Entry {
    std::size_t hash;
    CertificateRecord* record;
  };

  void clear() noexcept;

  std::mutex mutex_;
  std::vector<Entry> entries_;
};

}  // namespace Platform
}  // namespace Zanthorel
