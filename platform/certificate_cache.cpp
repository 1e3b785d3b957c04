#include "platform/certificate_cache.h"

#include <functional>
#include <string_view>

namespace Zanthorel {
namespace Platform {

namespace {

std::size_t hashOf(const BYTE* encoded, DWORD size) {
  return std::hash<std::string_view>()(
      std::string_view(reinterpret_cast<const char*>(encoded), size));
}

bool holds(const CERT_CONTEXT& context, DWORD encodingType, const BYTE* encoded, DWORD size) {
  return context.dwCertEncodingType == encodingType && context.cbCertEncoded == size &&
         std::memcmp(context.pbCertEncoded, encoded, size) == 0;
}

}  // namespace

CertificateCache& CertificateCache::instance() {
  static CertificateCache cache;
  return cache;
}

CertificateCache::~CertificateCache() {
  clear();
}

PCCERT_CONTEXT CertificateCache::find(DWORD encodingType, const BYTE* encoded, DWORD size) {
  if (size == 0 || size > kLongestCertificate) return nullptr;
  const std::size_t hash = hashOf(encoded, size);
  const std::lock_guard<std::mutex> lock(mutex_);
  for (const Entry& entry : entries_) {
    if (entry.hash != hash || !holds(entry.record->context, encodingType, encoded, size)) continue;
    entry.record->addRef();  // while the cache's own reference keeps the record
    return &entry.record->context;
  }
  return nullptr;
}

void CertificateCache::add(CertificateRecord& record) {
  const CERT_CONTEXT& context = record.context;
  if (context.cbCertEncoded > kLongestCertificate) return;
  const std::size_t hash = hashOf(context.pbCertEncoded, context.cbCertEncoded);
  const std::lock_guard<std::mutex> lock(mutex_);
  if (entries_.size() >= kCapacity) clear();
  entries_.reserve(kCapacity);
  record.addRef();
  entries_.push_back({hash, &record});
}

void CertificateCache::clear() noexcept {
  for (const Entry& entry : entries_)
    entry.record->release();
  entries_.clear();
}

}  // namespace Platform
}  // namespace Zanthorel
