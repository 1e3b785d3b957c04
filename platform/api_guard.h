// The boundary of the platform functions: internal code throws ATL::CAtlException, callers of the
// Windows functions get FALSE or NULL with the HRESULT as the thread's last error.
#pragma once

#include <new>

#include "sdk/atl_exception.h"
#include "sdk/wincrypt.h"

namespace Zanthorel {
namespace Platform {

// Runs `body` and returns its result; a thrown error becomes `failed` with the last error set.
template <typename Result, typename Body>
Result guardedCall(Result failed, Body&& body) noexcept {
  try {
    return body();
  } catch (const ATL::CAtlException& e) {
    SetLastError(static_cast<DWORD>(e.m_hr));
  } catch (const std::bad_alloc&) {
    SetLastError(static_cast<DWORD>(E_OUTOFMEMORY));
  }
  return failed;
}

// Throws `hr` as the error that leaves the platform function.
[[noreturn]] inline void fail(HRESULT hr) {
  throw ATL::CAtlException(hr);
}

}  // namespace Platform
}  // namespace Zanthorel
