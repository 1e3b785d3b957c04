#include "platform/public_key_cache.h"

#include "platform/signature.h"

namespace Zanthorel {
namespace Platform {

EvpPkeyCtxPtr VerifyingKey::context(SignatureScheme scheme, const EVP_MD* md) {
  const std::lock_guard<std::mutex> lock(mutex_);
  auto prepared = prepared_.begin();
  while (prepared != prepared_.end() && (prepared->scheme != scheme || prepared->md != md))
    ++prepared;
  if (prepared == prepared_.end()) {
    prepared_.push_back({scheme, md, verifyingContext(key_.get(), scheme, md)});
    prepared = prepared_.end() - 1;
  }
  if (!prepared->context) return nullptr;
  return EvpPkeyCtxPtr(EVP_PKEY_CTX_dup(prepared->context.get()));
}

PublicKeyCache& PublicKeyCache::instance() {
  static PublicKeyCache cache;
  return cache;
}

std::shared_ptr<VerifyingKey> PublicKeyCache::find(const std::string& id) {
  const std::lock_guard<std::mutex> lock(mutex_);
  const auto found = keys_.find(id);
  return found != keys_.end() ? found->second : nullptr;
}

void PublicKeyCache::add(const std::string& id, const std::shared_ptr<VerifyingKey>& key) {
  if (id.size() > kLongestId) return;
  const std::lock_guard<std::mutex> lock(mutex_);
  if (keys_.size() >= kCapacity) keys_.clear();
  keys_.emplace(id, key);
}

}  // namespace Platform
}  // namespace Zanthorel
