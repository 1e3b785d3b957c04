#include "platform/attribute_buffer.h"

#include <cstring>
#include <string>
#include <vector>

#include "outside/ztasn1/object_identifier.h"
#include "platform/api_guard.h"
#include "platform/param_output.h"

namespace Zanthorel {
namespace Platform {

namespace {

// Places the parts of the block one after the other: measures when `base` is null, writes
// otherwise.
class BlockLayout {
 public:
  explicit BlockLayout(BYTE* base) : base_(base) {}

  // Reserves `count` bytes aligned to `alignment`; returns where they are (null when measuring).
  BYTE* place(std::size_t count, std::size_t alignment) {
    end_ = (end_ + alignment - 1) / alignment * alignment;
    BYTE* at = base_ != nullptr ? base_ + end_ : nullptr;
    end_ += count;
    return at;
  }
  template <typename T>
  T* placeArray(std::size_t count) {
    return reinterpret_cast<T*>(place(sizeof(T) * count, alignof(T)));
  }
  BYTE* copy(const void* bytes, std::size_t count) {
    BYTE* at = place(count, 1);
    if (at != nullptr && count != 0) std::memcpy(at, bytes, count);
    return at;
  }
  std::size_t size() const { return end_; }

 private:
  BYTE* base_;
  std::size_t end_ = 0;
};

void layOut(BlockLayout& layout, const ASN1T_Attributes& attributes,
            const std::vector<std::string>& oids) {
  auto* header = layout.placeArray<CRYPT_ATTRIBUTES>(1);
  auto* array = layout.placeArray<CRYPT_ATTRIBUTE>(attributes.count);
  if (header != nullptr) *header = {attributes.count, attributes.count != 0 ? array : nullptr};
  std::size_t i = 0;
  for (const ASN1T_Attribute* attribute : rtSeqOfItems<ASN1T_Attribute>(attributes)) {
    const std::string& oid = oids[i];
    auto* text = reinterpret_cast<LPSTR>(layout.copy(oid.c_str(), oid.size() + 1));
    const DWORD valueCount = attribute->attrValues.count;
    auto* blobs = layout.placeArray<CRYPT_ATTR_BLOB>(valueCount);
    if (array != nullptr) array[i] = {text, valueCount, valueCount != 0 ? blobs : nullptr};
    std::size_t j = 0;
    for (const ASN1OpenType* value : rtSeqOfItems<ASN1OpenType>(attribute->attrValues)) {
      BYTE* bytes = layout.copy(value->data, value->numocts);
      if (blobs != nullptr) blobs[j] = {value->numocts, bytes};
      ++j;
    }
    ++i;
  }
}

}  // namespace

void outputAttributes(const ASN1T_Attributes& attributes, void* data, DWORD* size) {
  std::vector<std::string> oids(attributes.count);
  std::size_t i = 0;
  for (const ASN1T_Attribute* attribute : rtSeqOfItems<ASN1T_Attribute>(attributes)) {
    ASN1::ASN1TObjId_traits::get(attribute->attrType, oids[i++]);
  }
  BlockLayout measure(nullptr);
  layOut(measure, attributes, oids);
  if (measure.size() > UINT32_MAX) fail(CRYPT_E_ASN1_LARGE);
  if (!outputFits(static_cast<DWORD>(measure.size()), data, size)) return;
  BlockLayout write(static_cast<BYTE*>(data));
  layOut(write, attributes, oids);
}

}  // namespace Platform
}  // namespace Zanthorel
