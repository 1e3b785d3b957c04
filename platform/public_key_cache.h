// The public keys of the certificates that signatures were checked with, kept decoded together
// with the verifying contexts prepared for them.
// A verifier checks one authority's signatures again and again; decoding its key each time, and
// OpenSSL's precomputation for it (for RSA the Montgomery form of the modulus), would cost a
// third of the verification, and setting a verifying context up another tenth. Keys and
// prepared contexts are never changed once made, so threads share them.
#pragma once

#include <cstddef>
#include <memory>
#include <mutex>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "platform/algorithms.h"
#include "platform/openssl_ptr.h"

namespace Zanthorel {
namespace Platform {

// A public key and the contexts prepared to verify with it, one per scheme and digest.
class VerifyingKey {
 public:
  explicit VerifyingKey(EvpPkeyPtr key) noexcept : key_(std::move(key)) {}
  VerifyingKey(const VerifyingKey&) = delete;
  VerifyingKey& operator=(const VerifyingKey&) = delete;

  EVP_PKEY* key() const noexcept { return key_.get(); }
  // A context that verifies signatures under `scheme` of digests made with `md`: a copy of one
  // prepared on first use. Null when the key cannot verify so.
  EvpPkeyCtxPtr context(SignatureScheme scheme, const EVP_MD* md);

 private:
  struct Prepared {
    SignatureScheme scheme;
    const EVP_MD* md;
    EvpPkeyCtxPtr context;  // null: the key cannot verify so
  };

  EvpPkeyPtr key_;
  std::mutex mutex_;
  std::vector<Prepared> prepared_;
};

class PublicKeyCache {
 public:
  // The one cache of the process.
  static PublicKeyCache& instance();

  // The key kept under `id`, or null.
  std::shared_ptr<VerifyingKey> find(const std::string& id);
  // Keeps `key` under `id`. A full cache starts again empty; ids longer than a few kilobytes,
  // which no real key has, are not kept.
  void add(const std::string& id, const std::shared_ptr<VerifyingKey>& key);

 private:
  static constexpr std::size_t kCapacity = 64;
  static constexpr std::size_t kLongestId = 4096;

  std::mutex mutex_;
  std::unordered_map<std::string, std::shared_ptr<VerifyingKey>> keys_;
};

}  // namespace Platform
}  // namespace Zanthorel
