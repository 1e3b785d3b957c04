// The C interface on anything: each decode entry point either makes a handle whose getters all
// answer, or fails with a failure HRESULT, a message naming the function and nothing handed out.
// Every buffer is freed once and every handle released once, which the sanitizers and the leak
// check hold the interface to.
#include <cstring>

#include "capi/zttsp.h"
#include "fuzz/targets/fixed_tsa.h"
#include "fuzz/targets/fuzz_targets.h"

namespace zttsp_fuzz {
namespace {

// ZTTSP_OK, or a failure whose message starts with the function's name.
zttsp_result answered(const char* function, zttsp_result result) {
  if (result == ZTTSP_OK) return result;
  if (result > 0) fuzzFinding("a C function returned a success code other than ZTTSP_OK");
  if (std::strncmp(zttsp_last_error_message(), function, std::strlen(function)) != 0)
    fuzzFinding("a C failure without a message naming its function");
  return result;
}
#define ANSWERED(function, ...) answered(#function, function(__VA_ARGS__))

template <class Handle>
void readBytes(zttsp_result (*get)(const Handle*, std::uint8_t**, std::size_t*),
               const Handle* handle) {
  std::uint8_t* bytes = nullptr;
  std::size_t length = 0;
  const zttsp_result result = answered("zttsp_", get(handle, &bytes, &length));
  if (result != ZTTSP_OK && bytes != nullptr) fuzzFinding("a failed C call handed out bytes");
  if (zttsp_free(bytes) != ZTTSP_OK) fuzzFinding("zttsp_free refused bytes it handed out");
}

template <class Handle>
void readText(zttsp_result (*get)(const Handle*, char**), const Handle* handle) {
  char* text = nullptr;
  answered("zttsp_", get(handle, &text));
  if (text != nullptr && std::strlen(text) > 1 << 20) fuzzFinding("text without its end");
  if (zttsp_free(text) != ZTTSP_OK) fuzzFinding("zttsp_free refused text it handed out");
}

template <class Handle>
void release(zttsp_result (*releaseHandle)(Handle*), Handle* handle) {
  if (releaseHandle(handle) != ZTTSP_OK || releaseHandle(handle) != ZTTSP_E_HANDLE)
    fuzzFinding("a handle was not released exactly once");
}

template <class Handle>
Handle* decoded(zttsp_result (*decode)(const std::uint8_t*, std::size_t, Handle**),
                const std::uint8_t* data, std::size_t size) {
  Handle* handle = nullptr;
  if (answered("zttsp_", decode(data, size, &handle)) != ZTTSP_OK && handle != nullptr)
    fuzzFinding("a failed decode made a handle");
  return handle;
}

void readToken(const zttsp_token* token) {
  readText(zttsp_token_get_gen_time_text, token);
  readText(zttsp_token_get_policy, token);
  readText(zttsp_token_get_hash_algorithm, token);
  readText(zttsp_token_get_tsa_name, token);
  readBytes(zttsp_token_get_serial, token);
  readBytes(zttsp_token_get_hash, token);
  readBytes(zttsp_token_get_nonce, token);
  readBytes(zttsp_token_encode, token);
  std::int64_t seconds = 0;
  std::uint32_t nanoseconds = 0, part = 0;
  int flag = 0;
  ANSWERED(zttsp_token_get_gen_time, token, &seconds, &nanoseconds);
  ANSWERED(zttsp_token_get_accuracy, token, &flag, &part, &part, &part);
  ANSWERED(zttsp_token_get_ordering, token, &flag);
  const Zanthorel::CBlob& fixed = fixedCertificate();
  ANSWERED(zttsp_token_verify, token, fixed.pbData(), fixed.cbData());
  std::size_t count = 0;
  ANSWERED(zttsp_token_get_certificate_count, token, &count);
  for (std::size_t i = 0; i <= count && i < 4; ++i) {
    std::uint8_t* certificate = nullptr;
    std::size_t length = 0;
    if (ANSWERED(zttsp_token_get_certificate, token, i, &certificate, &length) != ZTTSP_OK) {
      if (i < count) fuzzFinding("a certificate within the count cannot be read");
      continue;
    }
    ANSWERED(zttsp_token_verify, token, certificate, length);
    zttsp_free(certificate);
  }
}

void requestThroughC(const std::uint8_t* data, std::size_t size) {
  zttsp_request* request = decoded(zttsp_request_decode, data, size);
  if (request == nullptr) return;
  readText(zttsp_request_get_hash_algorithm, request);
  readText(zttsp_request_get_policy, request);
  readBytes(zttsp_request_get_hash, request);
  readBytes(zttsp_request_get_nonce, request);
  readBytes(zttsp_request_encode, request);
  ANSWERED(zttsp_request_set_cert_req, request, 1);
  readBytes(zttsp_request_encode, request);
  release(zttsp_request_release, request);
}

void responseThroughC(const std::uint8_t* data, std::size_t size) {
  zttsp_response* response = decoded(zttsp_response_decode, data, size);
  if (response == nullptr) return;
  std::int32_t status = 0;
  std::uint32_t failInfo = 0;
  ANSWERED(zttsp_response_get_status, response, &status);
  ANSWERED(zttsp_response_get_fail_info, response, &failInfo);
  readText(zttsp_response_get_status_text, response);
  readBytes(zttsp_response_encode, response);
  zttsp_token* token = nullptr;
  ANSWERED(zttsp_response_get_token, response, &token);
  if (token != nullptr) {
    readToken(token);
    release(zttsp_token_release, token);
  }
  release(zttsp_response_release, response);
}

void tokenThroughC(const std::uint8_t* data, std::size_t size) {
  zttsp_token* token = decoded(zttsp_token_decode, data, size);
  if (token == nullptr) return;
  readToken(token);
  std::uint8_t* encoded = nullptr;
  std::size_t length = 0;
  ANSWERED(zttsp_token_encode, token, &encoded, &length);
  if (length != size || std::memcmp(encoded, data, size) != 0)
    fuzzFinding("a token decoded through C encodes other bytes");
  zttsp_free(encoded);
  release(zttsp_token_release, token);
}

void authenticodeThroughC(const std::uint8_t* data, std::size_t size) {
  if (zttsp_ms_request* request = decoded(zttsp_ms_request_decode, data, size)) {
    readText(zttsp_ms_request_get_type, request);
    readBytes(zttsp_ms_request_get_content, request);
    readBytes(zttsp_ms_request_encode, request);
    zttsp_ms_stamp* stamp = nullptr;
    ANSWERED(zttsp_ms_stamp_new, request, 1700000000, &stamp);
    if (stamp != nullptr) release(zttsp_ms_stamp_release, stamp);
    release(zttsp_ms_request_release, request);
  }
  if (zttsp_ms_stamp* stamp = decoded(zttsp_ms_stamp_decode, data, size)) {
    std::int64_t seconds = 0;
    std::uint32_t nanoseconds = 0;
    std::size_t count = 0;
    ANSWERED(zttsp_ms_stamp_get_signing_time, stamp, &seconds, &nanoseconds);
    ANSWERED(zttsp_ms_stamp_get_certificate_count, stamp, &count);
    readBytes(zttsp_ms_stamp_get_content, stamp);
    const Zanthorel::CBlob& fixed = fixedCertificate();
    ANSWERED(zttsp_ms_stamp_verify, stamp, fixed.pbData(), fixed.cbData());
    release(zttsp_ms_stamp_release, stamp);
  }
}

}  // namespace

// One input through every decode entry point of the C interface: the C++ targets fuzz the
// decoders themselves, this one what the C layer adds around them.
void runCInterface(const std::uint8_t* data, std::size_t size) {
  requestThroughC(data, size);
  responseThroughC(data, size);
  tokenThroughC(data, size);
  authenticodeThroughC(data, size);
}

}  // namespace zttsp_fuzz
