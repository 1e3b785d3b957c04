// The bodies that the C functions of every message kind share: decode into a new handle, encode
// into a new buffer.
#pragma once

#include <cstddef>
#include <cstdint>

#include "capi/arguments.h"
#include "capi/buffers.h"
#include "capi/handles.h"

namespace Zanthorel {
namespace CApi {

template <class Handle>
zttsp_result decodeCall(const char* function, const std::uint8_t* der, std::size_t length,
                        Handle** out, const char* outName) noexcept {
  return runCall(function, [&] {
    outArgument(out, outName);
    const CBlob encoded = bytesArgument(der, length, "der");
    // Decoded in place: a token's copy would take its TSTInfo through the codec once more.
    auto held = std::make_shared<Holder<typename HandleOf<Handle>::Value>>();
    held->value.decode(encoded);
    publishHeld(out, std::move(held));
  });
}

template <class Handle>
zttsp_result encodeCall(const char* function, const Handle* handle, std::uint8_t** der,
                        std::size_t* length) noexcept {
  return runCall(function, [&] {
    BytesResult out(der, length, "der");
    const Use<Handle> object(handle);
    out.give(object->encode());
  });
}

}  // namespace CApi
}  // namespace Zanthorel
