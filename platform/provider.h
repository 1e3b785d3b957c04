// The key provider behind an HCRYPTPROV on Linux: one private key and a reference count.
#pragma once

#include <openssl/evp.h>

#include <atomic>
#include <cstdint>
#include <mutex>
#include <utility>
#include <vector>

#include "platform/openssl_ptr.h"
#include "sdk/wincrypt.h"

namespace Zanthorel {
namespace Platform {

class Provider {
 public:
  // Takes ownership of `key`; starts with one reference.
  explicit Provider(EVP_PKEY* key) noexcept;
  Provider(const Provider&) = delete;
  Provider& operator=(const Provider&) = delete;

  // The provider behind `handle`, or nullptr when it is 0 or not a provider of ours.
  static Provider* fromHandle(HCRYPTPROV handle) noexcept;
  HCRYPTPROV handle() noexcept { return reinterpret_cast<HCRYPTPROV>(this); }

  void addRef() noexcept;
  void release() noexcept;
  DWORD referenceCount() const noexcept { return references_.load(); }

  // The key served under `keySpec`: AT_SIGNATURE, AT_KEYEXCHANGE or 0 (whichever it holds).
  // Throws NTE_NO_KEY for any other specification.
  EVP_PKEY* key(DWORD keySpec) const;
  // A context that signs digests made with `md` by the key under `keySpec` (see key): a copy of
  // one prepared on first use, since setting a context up costs OpenSSL as much as hashing a
  // whole token. Throws as key does, and NTE_BAD_KEY when the key cannot sign so.
  EvpPkeyCtxPtr signingContext(DWORD keySpec, const EVP_MD* md);

 private:
  ~Provider();

  static constexpr std::uint32_t kMagic = 0x5A505256;  // "ZPRV"
  std::uint32_t magic_ = kMagic;
  std::atomic<DWORD> references_{1};
  EVP_PKEY* key_;
  std::mutex preparedMutex_;
  std::vector<std::pair<const EVP_MD*, EvpPkeyCtxPtr>> prepared_;  // one per digest signed with
};

}  // namespace Platform
}  // namespace Zanthorel
