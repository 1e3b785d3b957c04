#include "capi/handles.h"

#include <string>

namespace Zanthorel {
namespace CApi {
namespace {

const char* nameOf(std::uintptr_t kind) {
  static const char* const kNames[] = {
      "", "provider", "request", "response", "token", "Authenticode request", "Authenticode stamp"};
  return kind < sizeof kNames / sizeof kNames[0] ? kNames[kind] : "";
}

}  // namespace

void refuseHandle(const void* handle, Kind kind, std::uintptr_t liveKind) {
  const std::string expected = nameOf(static_cast<std::uintptr_t>(kind));
  if (handle == nullptr) fail(ZTTSP_E_POINTER, "the " + expected + " handle is null");
  if (liveKind != 0)
    fail(ZTTSP_E_HANDLE, std::string("the handle given is a ") + nameOf(liveKind) + " handle; a " +
                             expected + " handle is needed");
  fail(ZTTSP_E_HANDLE,
       "the " + expected + " handle is not live: released already, or never made by zttsp");
}

}  // namespace CApi
}  // namespace Zanthorel
