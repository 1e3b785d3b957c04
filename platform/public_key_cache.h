// The public keys of the certificates that signatures were checked with, kept decoded.
// A verifier checks one authority's signatures again and again; decoding its key each time, and
// OpenSSL's precomputation for it (for RSA the Montgomery form of the modulus), would cost a
// third of the verification. Keys are never changed once made, so threads share them.
#pragma once

#include <cstddef>
#include <mutex>
#include <string>
#include <unordered_map>

#include "platform/openssl_ptr.h"

namespace Zanthorel {
namespace Platform {

class PublicKeyCache {
 public:
  // The one cache of the process.
  static PublicKeyCache& instance();

  // Another reference to the key kept under `id`, or null.
  EvpPkeyPtr find(const std::string& id);
  // Keeps a reference to `key` under `id`. A full cache starts again empty; ids longer than a
  // few kilobytes, which no real key has, are not kept.
  void add(const std::string& id, EVP_PKEY* key);

 private:
  static constexpr std::size_t kCapacity = 64;
  static constexpr std::size_t kLongestId = 4096;

  std::mutex mutex_;
  std::unordered_map<std::string, EvpPkeyPtr> keys_;
};

}  // namespace Platform
}  // namespace Zanthorel
