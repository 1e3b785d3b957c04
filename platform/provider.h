// The key provider behind an HCRYPTPROV on Linux: one private key and a reference count.
#pragma once

#include <openssl/evp.h>

#include <atomic>
#include <cstdint>

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

 private:
  ~Provider();

  static constexpr std::uint32_t kMagic = 0x5A505256;  // "ZPRV"
  std::uint32_t magic_ = kMagic;
  std::atomic<DWORD> references_{1};
  EVP_PKEY* key_;
};

}  // namespace Platform
}  // namespace Zanthorel
