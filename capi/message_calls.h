// The bodies that the C functions of every message kind share: decode into a new handle, encode
// into a new buffer, verify a signature.
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

// ZTTSP_E_BAD_SIGNATURE, saying `why`, when the message's verify answers false.
template <class Handle>
zttsp_result verifyCall(const char* function, const Handle* handle, const std::uint8_t* certificate,
                        std::size_t length, const char* why) noexcept {
  return runCall(function, [&] {
    const Use<Handle> object(handle);
    if (!object->verify(bytesArgument(certificate, length, "certificate")))
      fail(ZTTSP_E_BAD_SIGNATURE, why);
  });
}

}  // namespace CApi
}  // namespace Zanthorel
