#include "platform/public_key_cache.h"

namespace Zanthorel {
namespace Platform {

PublicKeyCache& PublicKeyCache::instance() {
  static PublicKeyCache cache;
  return cache;
}

EvpPkeyPtr PublicKeyCache::find(const std::string& id) {
  const std::lock_guard<std::mutex> lock(mutex_);
  const auto found = keys_.find(id);
  if (found == keys_.end() || EVP_PKEY_up_ref(found->second.get()) != 1) return nullptr;
  return EvpPkeyPtr(found->second.get());
}

void PublicKeyCache::add(const std::string& id, EVP_PKEY* key) {
  if (id.size() > kLongestId || EVP_PKEY_up_ref(key) != 1) return;
  EvpPkeyPtr kept(key);
  const std::lock_guard<std::mutex> lock(mutex_);
  if (keys_.size() >= kCapacity) keys_.clear();
  keys_.emplace(id, std::move(kept));
}

}  // namespace Platform
}  // namespace Zanthorel
