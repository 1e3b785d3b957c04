// ATL::CAtlException and ATL::AtlThrow, as ATL declares them: the one error type that leaves the
// library, and the way to raise it.
//
// It carries exactly one HRESULT, in the public member m_hr, and converts to it. It derives from
// nothing, so a handler for std::exception does not catch it:
//
//   try {
//     token.decode(bytes);
//   } catch (const ATL::CAtlException& e) {
//     HRESULT hr = e;   // e.g. CRYPT_E_BAD_MSG
//   }
#pragma once

#include "sdk/hresult.h"

namespace ATL {

class CAtlException {
 public:
  CAtlException() noexcept : m_hr(E_FAIL) {}
  explicit CAtlException(HRESULT hr) noexcept : m_hr(hr) {}
  operator HRESULT() const noexcept { return m_hr; }

  HRESULT m_hr;
};

// Throws a CAtlException carrying `hr`.
[[noreturn]] inline void AtlThrow(HRESULT hr) {
  throw CAtlException(hr);
}

}  // namespace ATL
