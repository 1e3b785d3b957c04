// CBlob: an owned run of bytes with a 32-bit length.
//
// The length and the bytes read as cbData() and pbData(), after the fields of the Windows
// CRYPTOAPI_BLOB, so that a blob hands over to the platform functions without conversion:
//
//   CBlob der = request.encode();
//   CRYPT_DATA_BLOB view = {der.cbData(), der.pbData()};
//
// An empty blob has length 0 and a null byte pointer. Copies are deep.
#pragma once

#include <cstdint>

#include "sdk/export.h"

namespace Zanthorel {

class ZTLIB_API CBlob {
 public:
  CBlob() noexcept = default;
  // `size` zero bytes, to be filled through pbData().
  explicit CBlob(std::uint32_t size);
  // A copy of `size` bytes at `data`.
  CBlob(const void* data, std::uint32_t size);
  CBlob(const CBlob& other);
  CBlob(CBlob&& other) noexcept;
  CBlob& operator=(const CBlob& other);
  CBlob& operator=(CBlob&& other) noexcept;
  ~CBlob();

  std::uint32_t cbData() const noexcept { return size_; }
  const std::uint8_t* pbData() const noexcept { return data_; }
  std::uint8_t* pbData() noexcept { return data_; }
  bool empty() const noexcept { return size_ == 0; }

  // Replaces the content with a copy of `size` bytes at `data` (which may point into this blob).
  void assign(const void* data, std::uint32_t size);
  // Sets the length to `size`, keeping the bytes that fit; new bytes are zero.
  void resize_to(std::uint32_t size);
  // Empties the blob and frees its bytes.
  void clear() noexcept;
  void swap(CBlob& other) noexcept;

 private:
  void reserve(std::uint32_t capacity);

  std::uint8_t* data_ = nullptr;
  std::uint32_t size_ = 0;
  std::uint32_t capacity_ = 0;
};

ZTLIB_API bool operator==(const CBlob& a, const CBlob& b) noexcept;
inline bool operator!=(const CBlob& a, const CBlob& b) noexcept {
  return !(a == b);
}

}  // namespace Zanthorel
