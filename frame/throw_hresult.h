// Raising an HRESULT error: the helpers that need nothing from the platform.
#pragma once

#include "frame/atl_exception.h"

namespace Zanthorel {
namespace PKI {
namespace TSP {

// Throws a CAtlException carrying `hr`.
[[noreturn]] inline void ThrowHResult(HRESULT hr) {
  throw ATL::CAtlException(hr);
}

// Throws a CAtlException carrying `hr` when `hr` is a failure (negative); returns otherwise.
inline void ThrowIfFailed(HRESULT hr) {
  if (hr < 0) ThrowHResult(hr);
}

}  // namespace TSP
}  // namespace PKI
}  // namespace Zanthorel
