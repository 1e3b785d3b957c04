#include "outside/ztlib/blob.h"

#include <cstdlib>
#include <cstring>
#include <new>
#include <utility>

namespace Zanthorel {

CBlob::CBlob(std::uint32_t size) {
  resize_to(size);
}

CBlob::CBlob(const void* data, std::uint32_t size) {
  assign(data, size);
}

CBlob::CBlob(const CBlob& other) {
  assign(other.data_, other.size_);
}

CBlob::CBlob(CBlob&& other) noexcept {
  swap(other);
}

CBlob& CBlob::operator=(const CBlob& other) {
  if (this != &other) assign(other.data_, other.size_);
  return *this;
}

CBlob& CBlob::operator=(CBlob&& other) noexcept {
  if (this != &other) {
    clear();
    swap(other);
  }
  return *this;
}

CBlob::~CBlob() {
  std::free(data_);
}

void CBlob::reserve(std::uint32_t capacity) {
  if (capacity <= capacity_) return;
  void* grown = std::realloc(data_, capacity);
  if (grown == nullptr) throw std::bad_alloc();
  data_ = static_cast<std::uint8_t*>(grown);
  capacity_ = capacity;
}

void CBlob::assign(const void* data, std::uint32_t size) {
  if (size == 0 || data == nullptr) {
    clear();
    return;
  }
  if (size > capacity_) {
    // The source may live inside this blob, so copy before the old bytes go.
    auto* fresh = static_cast<std::uint8_t*>(std::malloc(size));
    if (fresh == nullptr) throw std::bad_alloc();
    std::memcpy(fresh, data, size);
    std::free(data_);
    data_ = fresh;
    capacity_ = size;
  } else {
    std::memmove(data_, data, size);
  }
  size_ = size;
}

void CBlob::resize_to(std::uint32_t size) {
  if (size > size_) {
    reserve(size);
    std::memset(data_ + size_, 0, size - size_);
  }
  size_ = size;
  if (size_ == 0) clear();
}

void CBlob::clear() noexcept {
  std::free(data_);
  data_ = nullptr;
  size_ = 0;
  capacity_ = 0;
}

void CBlob::swap(CBlob& other) noexcept {
  std::swap(data_, other.data_);
  std::swap(size_, other.size_);
  std::swap(capacity_, other.capacity_);
}

bool operator==(const CBlob& a, const CBlob& b) noexcept {
  return a.cbData() == b.cbData() &&
         (a.empty() || std::memcmp(a.pbData(), b.pbData(), a.cbData()) == 0);
}

}  // namespace Zanthorel
