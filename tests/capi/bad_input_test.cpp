// Bad input through the C interface: every case gives the HRESULT that zttsp.h documents and a
// message naming the function, clears the out-parameters, and crashes nothing (the sanitize
// build runs these under ASan and UBSan).
#include <cstring>
#include <functional>
#include <thread>

#include "tests/capi/capi_support.h"
#include "tests/support/test_support.h"

using namespace capi_test;
using Zanthorel::CBlob;

namespace {

constexpr zttsp_result kAnyFailure = 1;  // some negative HRESULT, with a message

CBlob vector(const char* name) {
  return zttsp_test::readFile(zttsp_test::vectorPath(name));
}

// One handle of each kind, and one of each released already.
struct Handles {
  Handles() {
    const CBlob hash(32);
    EXPECT_EQ(ZTTSP_OK, zttsp_request_new(ZTTSP_OID_SHA256, hash.pbData(), 32, &request));
    EXPECT_EQ(ZTTSP_OK, zttsp_response_new(ZTTSP_STATUS_GRANTED, &response));
    token = decoded(zttsp_token_decode, vector("tst-microsoft-millis-nshield-signerattr.der"));
    EXPECT_EQ(ZTTSP_OK, zttsp_ms_request_new(hash.pbData(), 32, &msRequest));
    msStamp = decoded(zttsp_ms_stamp_decode, vector("authenticode-tsresp-digicert.p7b"));
    EXPECT_EQ(ZTTSP_OK, zttsp_request_new(ZTTSP_OID_SHA256, hash.pbData(), 32, &released));
    EXPECT_EQ(ZTTSP_OK, zttsp_request_release(released));
  }
  ~Handles() {
    zttsp_request_release(request);
    zttsp_response_release(response);
    zttsp_token_release(token);
    zttsp_ms_request_release(msRequest);
    zttsp_ms_stamp_release(msStamp);
  }

  zttsp_request* request = nullptr;
  zttsp_response* response = nullptr;
  zttsp_token* token = nullptr;
  zttsp_ms_request* msRequest = nullptr;
  zttsp_ms_stamp* msStamp = nullptr;
  zttsp_request* released = nullptr;
};

template <class To, class From>
To* as(From* handle) {
  return reinterpret_cast<To*>(handle);
}

struct BadCall {
  const char* function;
  zttsp_result expected;
  std::function<zttsp_result()> call;
};

TEST(CapiBadInput, GivesTheDocumentedResultAndSaysWhy) {
  const Handles h;
  const CBlob cert = vector("cert-bc-test-tsa.der");
  const std::uint8_t* bytes = cert.pbData();
  const std::size_t size = cert.cbData();
  const std::uint8_t noDer[] = {0x30, 0x03, 0x02, 0x01};
  const std::size_t huge = static_cast<std::size_t>(-1);
  std::uint8_t* data = nullptr;
  std::size_t length = 0;
  char* text = nullptr;
  int flag = 0;
  uint32_t value = 0;
  zttsp_request* request = nullptr;
  zttsp_response* response = nullptr;
  zttsp_token* token = nullptr;
  zttsp_provider* provider = nullptr;
  zttsp_ms_request* msRequest = nullptr;
  zttsp_ms_stamp* stamp = nullptr;
  int local = 0;

  const BadCall calls[] = {
      // Null out-parameters.
      {"zttsp_request_new", ZTTSP_E_POINTER,
       [&] { return zttsp_request_new(ZTTSP_OID_SHA256, bytes, 32, nullptr); }},
      {"zttsp_token_decode", ZTTSP_E_POINTER,
       [&] { return zttsp_token_decode(bytes, size, nullptr); }},
      {"zttsp_request_encode", ZTTSP_E_POINTER,
       [&] { return zttsp_request_encode(h.request, &data, nullptr); }},
      {"zttsp_token_get_hash", ZTTSP_E_POINTER,
       [&] { return zttsp_token_get_hash(h.token, nullptr, &length); }},
      {"zttsp_token_get_policy", ZTTSP_E_POINTER,
       [&] { return zttsp_token_get_policy(h.token, nullptr); }},
      {"zttsp_token_get_accuracy", ZTTSP_E_POINTER,
       [&] { return zttsp_token_get_accuracy(h.token, &flag, &value, nullptr, &value); }},
      {"zttsp_response_get_status", ZTTSP_E_POINTER,
       [&] { return zttsp_response_get_status(h.response, nullptr); }},
      {"zttsp_ms_stamp_get_certificate_count", ZTTSP_E_POINTER,
       [&] { return zttsp_ms_stamp_get_certificate_count(h.msStamp, nullptr); }},
      {"zttsp_provider_from_handle", ZTTSP_E_POINTER,
       [&] { return zttsp_provider_from_handle(1, ZTTSP_KEY_SIGNATURE, nullptr); }},
      // Null handles and other null pointers.
      {"zttsp_request_get_hash", ZTTSP_E_POINTER,
       [&] { return zttsp_request_get_hash(nullptr, &data, &length); }},
      {"zttsp_response_get_token", ZTTSP_E_POINTER,
       [&] { return zttsp_response_get_token(nullptr, &token); }},
      {"zttsp_token_verify", ZTTSP_E_POINTER,
       [&] { return zttsp_token_verify(nullptr, bytes, size); }},
      {"zttsp_token_verify", ZTTSP_E_POINTER,
       [&] { return zttsp_token_verify(h.token, nullptr, 12); }},
      {"zttsp_ms_request_get_type", ZTTSP_E_POINTER,
       [&] { return zttsp_ms_request_get_type(nullptr, &text); }},
      {"zttsp_ms_stamp_sign", ZTTSP_E_POINTER,
       [&] { return zttsp_ms_stamp_sign(h.msStamp, nullptr, bytes, size, nullptr); }},
      {"zttsp_token_new", ZTTSP_E_POINTER,
       [&] { return zttsp_token_new(h.request, nullptr, bytes, 1, 0, 0, &token); }},
      {"zttsp_token_decode", ZTTSP_E_POINTER,
       [&] { return zttsp_token_decode(nullptr, 5, &token); }},
      {"zttsp_response_add_status_text", ZTTSP_E_POINTER,
       [&] { return zttsp_response_add_status_text(h.response, nullptr); }},
      // Handles of another kind, released, or never made.
      {"zttsp_token_get_policy", ZTTSP_E_HANDLE,
       [&] { return zttsp_token_get_policy(as<zttsp_token>(h.request), &text); }},
      {"zttsp_request_get_policy", ZTTSP_E_HANDLE,
       [&] { return zttsp_request_get_policy(as<zttsp_request>(h.token), &text); }},
      {"zttsp_response_set_token", ZTTSP_E_HANDLE,
       [&] { return zttsp_response_set_token(h.response, as<zttsp_token>(h.response)); }},
      {"zttsp_ms_stamp_new", ZTTSP_E_HANDLE,
       [&] { return zttsp_ms_stamp_new(as<zttsp_ms_request>(h.msStamp), 0, &stamp); }},
      {"zttsp_ms_stamp_sign", ZTTSP_E_HANDLE,
       [&] {
         return zttsp_ms_stamp_sign(h.msStamp, as<zttsp_provider>(h.request), bytes, size, nullptr);
       }},
      {"zttsp_ms_stamp_release", ZTTSP_E_HANDLE,
       [&] { return zttsp_ms_stamp_release(as<zttsp_ms_stamp>(h.token)); }},
      {"zttsp_request_get_hash", ZTTSP_E_HANDLE,
       [&] { return zttsp_request_get_hash(h.released, &data, &length); }},
      {"zttsp_request_release", ZTTSP_E_HANDLE, [&] { return zttsp_request_release(h.released); }},
      {"zttsp_token_get_ordering", ZTTSP_E_HANDLE,
       [&] { return zttsp_token_get_ordering(as<zttsp_token>(&local), &flag); }},
      {"zttsp_token_release", ZTTSP_E_HANDLE,
       [&] { return zttsp_token_release(reinterpret_cast<zttsp_token*>(0x1234)); }},
      // Empty, oversized and unreadable input.
      {"zttsp_request_decode", ZTTSP_E_INVALIDARG,
       [&] { return zttsp_request_decode(bytes, 0, &request); }},
      {"zttsp_response_decode", ZTTSP_E_INVALIDARG,
       [&] { return zttsp_response_decode(bytes, huge, &response); }},
      {"zttsp_ms_request_decode", kAnyFailure,
       [&] { return zttsp_ms_request_decode(noDer, sizeof noDer, &msRequest); }},
      {"zttsp_ms_stamp_decode", kAnyFailure,
       [&] { return zttsp_ms_stamp_decode(bytes, size, &stamp); }},
      {"zttsp_token_decode", kAnyFailure,
       [&] { return zttsp_token_decode(bytes, size / 2, &token); }},
      {"zttsp_request_new", ZTTSP_E_INVALIDARG,
       [&] { return zttsp_request_new(ZTTSP_OID_SHA256, bytes, 0, &request); }},
      {"zttsp_token_verify", kAnyFailure,
       [&] { return zttsp_token_verify(h.token, noDer, sizeof noDer); }},
      {"zttsp_ms_stamp_verify", ZTTSP_E_INVALIDARG,
       [&] { return zttsp_ms_stamp_verify(h.msStamp, bytes, 0); }},
      {"zttsp_provider_from_pkcs8", ZTTSP_E_INVALIDARG,
       [&] { return zttsp_provider_from_pkcs8(bytes, 0, &provider); }},
      {"zttsp_request_set_nonce", ZTTSP_E_INVALIDARG,
       [&] { return zttsp_request_set_nonce(h.request, bytes, 0); }},
      // Values that are not valid.
      {"zttsp_request_new", ZTTSP_E_INVALIDARG,
       [&] { return zttsp_request_new("sha256", bytes, 32, &request); }},
      {"zttsp_request_set_policy", ZTTSP_E_INVALIDARG,
       [&] { return zttsp_request_set_policy(h.request, "1.2.x"); }},
      {"zttsp_request_set_policy", ZTTSP_E_INVALIDARG,
       [&] { return zttsp_request_set_policy(h.request, ""); }},
      {"zttsp_response_new", ZTTSP_E_INVALIDARG, [&] { return zttsp_response_new(6, &response); }},
      {"zttsp_token_new", ZTTSP_E_INVALIDARG,
       [&] { return zttsp_token_new(h.request, "1.2.3", bytes, 1, 0, 1000000000, &token); }},
      {"zttsp_token_new", ZTTSP_E_INVALIDARG,
       [&] { return zttsp_token_new(h.request, "1.2.3", bytes, 1, INT64_MAX, 0, &token); }},
      {"zttsp_provider_from_handle", ZTTSP_E_INVALIDARG,
       [&] { return zttsp_provider_from_handle(0, ZTTSP_KEY_SIGNATURE, &provider); }},
      {"zttsp_provider_from_handle", ZTTSP_E_INVALIDARG,
       [&] { return zttsp_provider_from_handle(1, 3, &provider); }},
      // Lists, buffers and states.
      {"zttsp_token_get_certificate", ZTTSP_E_BOUNDS,
       [&] { return zttsp_token_get_certificate(h.token, 2, &data, &length); }},
      {"zttsp_ms_stamp_get_certificate", ZTTSP_E_BOUNDS,
       [&] { return zttsp_ms_stamp_get_certificate(h.msStamp, huge, &data, &length); }},
      {"zttsp_free", ZTTSP_E_INVALIDARG, [&] { return zttsp_free(&local); }},
      {"zttsp_token_set_accuracy", ZTTSP_E_ILLEGAL_METHOD_CALL,
       [&] { return zttsp_token_set_accuracy(h.token, 1, 0, 0); }},
      {"zttsp_token_sign", ZTTSP_E_ILLEGAL_METHOD_CALL,
       [&] { return zttsp_token_sign(h.token, nullptr, bytes, size, nullptr); }},
  };
  for (const BadCall& c : calls) {
    SCOPED_TRACE(c.function);
    const zttsp_result result = c.call();
    if (c.expected == kAnyFailure) {
      EXPECT_LT(result, 0);
    } else {
      EXPECT_EQ(zttsp_test::hresultText(c.expected), zttsp_test::hresultText(result));
    }
    const std::string message = zttsp_last_error_message();
    EXPECT_EQ(0u, message.rfind(std::string(c.function) + ": ", 0)) << message;
    EXPECT_GT(message.size(), std::strlen(c.function) + 15) << message;
    // Nothing was handed out.
    EXPECT_EQ(nullptr, data);
    EXPECT_EQ(nullptr, text);
    EXPECT_TRUE(!request && !response && !token && !provider && !msRequest && !stamp);
  }
}

TEST(CapiBadInput, OutParametersAreClearedOnFailureAndTheMessageOnSuccess) {
  const Handles h;
  std::uint8_t sentinel = 0;
  std::uint8_t* data = &sentinel;
  std::size_t length = 7;
  EXPECT_EQ(ZTTSP_E_HANDLE, zttsp_token_get_serial(as<zttsp_token>(h.request), &data, &length));
  EXPECT_EQ(nullptr, data);
  EXPECT_EQ(0u, length);
  EXPECT_STRNE("", zttsp_last_error_message());
  int certReq = 5;
  EXPECT_EQ(ZTTSP_OK, zttsp_request_get_cert_req(h.request, &certReq));
  EXPECT_EQ(0, certReq);
  EXPECT_STREQ("", zttsp_last_error_message());
  EXPECT_EQ(ZTTSP_OK, zttsp_free(nullptr));
  EXPECT_EQ(ZTTSP_OK, zttsp_token_release(nullptr));
}

TEST(CapiBadInput, BuffersAreFreedOnceAndMessagesBelongToTheirThread) {
  const Handles h;
  std::uint8_t* data = nullptr;
  std::size_t length = 0;
  ASSERT_EQ(ZTTSP_OK, zttsp_request_encode(h.request, &data, &length));
  EXPECT_EQ(ZTTSP_OK, zttsp_free(data));
  EXPECT_EQ(ZTTSP_E_INVALIDARG, zttsp_free(data));
  const std::string mine = zttsp_last_error_message();
  std::string theirs = "unset";
  std::thread([&] { theirs = zttsp_last_error_message(); }).join();
  EXPECT_EQ("", theirs);
  EXPECT_EQ(mine, zttsp_last_error_message());
}

// Handles made, used and released on several threads at once, and one released while another
// thread may still be using it: the table never hands out a dead object.
TEST(CapiBadInput, HandlesServeSeveralThreads) {
  const CBlob der = vector("tst-microsoft-millis-nshield-signerattr.der");
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([&der] {
      for (int i = 0; i < 100; ++i) {
        zttsp_token* token = decoded(zttsp_token_decode, der);
        char* policy = nullptr;
        EXPECT_EQ(ZTTSP_OK, zttsp_token_get_policy(token, &policy));
        EXPECT_EQ(ZTTSP_OK, zttsp_free(policy));
        EXPECT_EQ(ZTTSP_OK, zttsp_token_release(token));
        EXPECT_EQ(ZTTSP_E_HANDLE, zttsp_token_release(token));
      }
    });
  }
  for (std::thread& thread : threads)
    thread.join();
}

}  // namespace
