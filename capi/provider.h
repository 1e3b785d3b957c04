// Provider: a reference of the C interface's own on a caller's provider handle (HCRYPTPROV),
// with the key specification to sign with.
#pragma once

#include <cstdint>

#include "sdk/win32.h"

namespace Zanthorel {
namespace CApi {

class Provider {
 public:
  // Takes over one reference on `handle`.
  Provider(HCRYPTPROV handle, DWORD keySpec) noexcept : handle_(handle), keySpec_(keySpec) {}
  Provider(const Provider&) = delete;
  Provider& operator=(const Provider&) = delete;
  ~Provider() { CryptReleaseContext(handle_, 0); }

  HCRYPTPROV handle() const noexcept { return handle_; }
  DWORD keySpec() const noexcept { return keySpec_; }

 private:
  HCRYPTPROV handle_;
  DWORD keySpec_;
};

}  // namespace CApi
}  // namespace Zanthorel
