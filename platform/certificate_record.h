// What a certificate context of CertCreateCertificateContext is made of: the context, its
// CERT_INFO and every byte they point at, freed with the release of the last reference.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstring>
#include <memory>
#include <vector>

#include "sdk/wincrypt.h"

namespace Zanthorel {
namespace Platform {

class CertificateRecord {
 public:
  CERT_CONTEXT context{};
  CERT_INFO info{};
  std::vector<CERT_EXTENSION> extensions;

  // The record of a context made by CertCreateCertificateContext: its hCertStore points back
  // here.
  static CertificateRecord* of(PCCERT_CONTEXT context) noexcept {
    return static_cast<CertificateRecord*>(context->hCertStore);
  }

  // A NUL-terminated copy of `count` bytes, kept as long as the record.
  BYTE* keep(const void* bytes, std::size_t count) {
    pieces_.emplace_back(new BYTE[count + 1]);
    BYTE* copy = pieces_.back().get();
    if (count != 0) std::memcpy(copy, bytes, count);
    copy[count] = 0;
    return copy;
  }
  LPSTR keepText(const char* text) {
    return reinterpret_cast<LPSTR>(keep(text, std::strlen(text)));
  }
  CRYPT_DATA_BLOB keepBlob(const void* bytes, std::size_t count) {
    return {static_cast<DWORD>(count), count != 0 ? keep(bytes, count) : nullptr};
  }

  // The record starts with one reference, its maker's; the last release frees it.
  void addRef() noexcept { references_.fetch_add(1, std::memory_order_relaxed); }
  void release() noexcept {
    if (references_.fetch_sub(1, std::memory_order_acq_rel) == 1) delete this;
  }

 private:
  std::atomic<unsigned> references_{1};
  std::vector<std::unique_ptr<BYTE[]>> pieces_;
};

}  // namespace Platform
}  // namespace Zanthorel
