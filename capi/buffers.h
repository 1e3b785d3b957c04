// The bytes and text that the C functions hand out, each a buffer of its own that zttsp_free
// takes back. The live buffers are remembered, so that zttsp_free refuses a pointer it did not
// hand out (or took back already) instead of freeing it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "outside/ztlib/blob.h"

namespace Zanthorel {
namespace CApi {

// A pair of out-parameters for bytes: checked and cleared at construction, filled by give.
class BytesResult {
 public:
  BytesResult(std::uint8_t** data, std::size_t* length, const char* name);
  // Absent bytes give NULL; present ones, even none, a buffer.
  void give(const CBlob* bytes);
  void give(const CBlob& bytes) { give(&bytes); }

 private:
  std::uint8_t** data_;
  std::size_t* length_;
};

// An out-parameter for text.
class TextResult {
 public:
  TextResult(char** text, const char* name);
  // Null gives NULL.
  void give(const char* text);
  void give(const std::string& text) { give(text.c_str()); }

 private:
  char** text_;
};

// Takes back a buffer handed out above; false when `buffer` is none of them.
bool freeBuffer(void* buffer) noexcept;

}  // namespace CApi
}  // namespace Zanthorel
