// Helpers for the tests of the C interface: handles that release themselves, and what the C
// getters hand out as C++ values (freed at once).
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "capi/zttsp.h"
#include "outside/ztlib/blob.h"

namespace capi_test {

template <class Handle, zttsp_result (*Release)(Handle*)>
struct Releaser {
  void operator()(Handle* handle) const { EXPECT_EQ(ZTTSP_OK, Release(handle)); }
};
using Request = std::unique_ptr<zttsp_request, Releaser<zttsp_request, zttsp_request_release>>;
using Response = std::unique_ptr<zttsp_response, Releaser<zttsp_response, zttsp_response_release>>;
using Token = std::unique_ptr<zttsp_token, Releaser<zttsp_token, zttsp_token_release>>;
using MSRequest =
    std::unique_ptr<zttsp_ms_request, Releaser<zttsp_ms_request, zttsp_ms_request_release>>;
using MSStamp = std::unique_ptr<zttsp_ms_stamp, Releaser<zttsp_ms_stamp, zttsp_ms_stamp_release>>;
using Provider = std::unique_ptr<zttsp_provider, Releaser<zttsp_provider, zttsp_provider_release>>;

// The handle a _decode function makes of `bytes`; null (and the result in `result`) on failure.
template <class Handle>
Handle* decoded(zttsp_result (*decode)(const std::uint8_t*, std::size_t, Handle**),
                const Zanthorel::CBlob& bytes, zttsp_result* result = nullptr) {
  Handle* handle = nullptr;
  const zttsp_result decodedResult = decode(bytes.pbData(), bytes.cbData(), &handle);
  if (result != nullptr) *result = decodedResult;
  return handle;
}

// What a getter of bytes or text hands out; nullopt for NULL. The call must succeed.
template <class Handle>
std::optional<Zanthorel::CBlob> bytesOf(zttsp_result (*get)(const Handle*, std::uint8_t**,
                                                            std::size_t*),
                                        const Handle* handle) {
  std::uint8_t* data = nullptr;
  std::size_t length = 0;
  EXPECT_EQ(ZTTSP_OK, get(handle, &data, &length)) << zttsp_last_error_message();
  if (data == nullptr) return std::nullopt;
  Zanthorel::CBlob bytes(data, static_cast<std::uint32_t>(length));
  EXPECT_EQ(ZTTSP_OK, zttsp_free(data));
  return bytes;
}

template <class Handle>
std::optional<std::string> textOf(zttsp_result (*get)(const Handle*, char**),
                                  const Handle* handle) {
  char* text = nullptr;
  EXPECT_EQ(ZTTSP_OK, get(handle, &text)) << zttsp_last_error_message();
  if (text == nullptr) return std::nullopt;
  std::string copy(text);
  EXPECT_EQ(ZTTSP_OK, zttsp_free(text));
  return copy;
}

// The C++ form of an optional value, for comparing C with C++ reads.
inline std::optional<Zanthorel::CBlob> optionalBytes(const Zanthorel::CBlob* bytes) {
  return bytes != nullptr ? std::optional<Zanthorel::CBlob>(*bytes) : std::nullopt;
}
inline std::optional<std::string> optionalText(const char* text) {
  return text != nullptr ? std::optional<std::string>(text) : std::nullopt;
}

}  // namespace capi_test
