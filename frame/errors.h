// The library's error helpers: every failure leaves the library as an ATL::CAtlException
// carrying an HRESULT, raised through these.
#pragma once

#include <cerrno>

#include "sdk/atl_exception.h"
#include "sdk/crt_string.h"
#include "sdk/win32.h"

namespace Zanthorel {
namespace PKI {
namespace TSP {

// Throws a CAtlException carrying `hr`.
[[noreturn]] inline void ThrowHResult(HRESULT hr) {
  ATL::AtlThrow(hr);
}

// Throws a CAtlException carrying `hr` when `hr` is a failure (negative); returns otherwise.
inline void ThrowIfFailed(HRESULT hr) {
  if (hr < 0) ThrowHResult(hr);
}

// HRESULT_FROM_WIN32 of the calling thread's last error: 0 and values that are already HRESULTs
// (negative) pass unchanged, others become 0x8007xxxx.
inline HRESULT HResultFromLastError() {
  const auto error = static_cast<HRESULT>(GetLastError());
  return error <= 0 ? error
                    : static_cast<HRESULT>(0x80070000u | (static_cast<DWORD>(error) & 0xFFFFu));
}

// Throws the HRESULT form of the thread's last error, also when that is 0.
[[noreturn]] inline void ThrowLastError() {
  ThrowHResult(HResultFromLastError());
}

// Maps the result of a bounded CRT string copy: success and truncation return, ENOMEM throws
// E_OUTOFMEMORY, EINVAL and ERANGE throw E_INVALIDARG, anything else E_FAIL.
inline void CheckCrtError(int error) {
  switch (error) {
    case 0:
    case STRUNCATE:
      return;
    case ENOMEM:
      ThrowHResult(E_OUTOFMEMORY);
    case EINVAL:
    case ERANGE:
      ThrowHResult(E_INVALIDARG);
    default:
      ThrowHResult(E_FAIL);
  }
}

}  // namespace TSP
}  // namespace PKI
}  // namespace Zanthorel
