// How a C function runs its body: every exception ends at the interface as an HRESULT, with the
// thread's message saying what went wrong.
//
//   zttsp_result zttsp_token_verify(...) {
//     return runCall(__func__, [&] { ... fail(ZTTSP_E_BAD_SIGNATURE, "..."); ... });
//   }
#pragma once

#include <string>

#include "capi/zttsp.h"

namespace Zanthorel {
namespace CApi {

// A failure that the C layer finds itself, with the words for the caller.
struct CallError {
  zttsp_result code;
  std::string message;
};

[[noreturn]] void fail(zttsp_result code, std::string message);

// Sets the thread's message for the call that succeeded ("") or for the exception being
// handled, and returns the call's result.
zttsp_result callSucceeded() noexcept;
zttsp_result callFailed(const char* function) noexcept;

template <class Body>
zttsp_result runCall(const char* function, Body&& body) noexcept {
  try {
    body();
    return callSucceeded();
  } catch (...) {
    return callFailed(function);
  }
}

// The calling thread's message.
const char* lastMessage() noexcept;

}  // namespace CApi
}  // namespace Zanthorel
