#include "capi/buffers.h"

#include <cstdlib>
#include <cstring>
#include <mutex>
#include <new>
#include <unordered_set>

#include "capi/arguments.h"

namespace Zanthorel {
namespace CApi {
namespace {

struct BufferTable {
  std::mutex lock;
  std::unordered_set<void*> live;
};

// Never destroyed, like the handle table: a caller may free buffers until the very end.
BufferTable& table() {
  static BufferTable* const instance = new BufferTable;
  return *instance;
}

// A live buffer holding `size` bytes from `source`; one byte at least, so that no bytes still
// come as a pointer.
void* handOut(const void* source, std::size_t size) {
  void* buffer = std::malloc(size == 0 ? 1 : size);
  if (buffer == nullptr) throw std::bad_alloc();
  if (size != 0) std::memcpy(buffer, source, size);
  try {
    BufferTable& buffers = table();
    const std::lock_guard<std::mutex> hold(buffers.lock);
    buffers.live.insert(buffer);
  } catch (...) {
    std::free(buffer);
    throw;
  }
  return buffer;
}

}  // namespace

BytesResult::BytesResult(std::uint8_t** data, std::size_t* length, const char* name)
    : data_(&outArgument(data, name)), length_(&outArgument(length, "length")) {}

void BytesResult::give(const CBlob* bytes) {
  if (bytes == nullptr) return;
  *data_ = static_cast<std::uint8_t*>(handOut(bytes->pbData(), bytes->cbData()));
  *length_ = bytes->cbData();
}

TextResult::TextResult(char** text, const char* name) : text_(&outArgument(text, name)) {}

void TextResult::give(const char* text) {
  if (text == nullptr) return;
  *text_ = static_cast<char*>(handOut(text, std::strlen(text) + 1));
}

bool freeBuffer(void* buffer) noexcept {
  {
    BufferTable& buffers = table();
    const std::lock_guard<std::mutex> hold(buffers.lock);
    if (buffers.live.erase(buffer) == 0) return false;
  }
  std::free(buffer);
  return true;
}

}  // namespace CApi
}  // namespace Zanthorel
