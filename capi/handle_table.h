// The objects behind the C interface's handles.
//
// A handle is no pointer but a number that is never given out twice, with the object's kind in
// its low bits. The table maps the live ones to their objects, so that a released handle, one of
// another kind or any other value is refused with ZTTSP_E_HANDLE instead of being followed. A
// call holds the object through a shared pointer, so that a release on another thread cannot
// pull it away mid-call.
#pragma once

#include <cstdint>
#include <memory>

namespace Zanthorel {
namespace CApi {

enum class Kind : std::uintptr_t { provider = 1, request, response, token, msRequest, msStamp };
constexpr unsigned kKindBits = 3;

// What the table holds; Holder<T> (handles.h) adds the value.
struct Object {
  virtual ~Object() = default;
};

// A new handle for `object`.
std::uintptr_t addHandle(Kind kind, std::shared_ptr<Object> object);
// The object of a live handle of `kind`, or null. `liveKind` tells what a refused handle is:
// its kind when it is live, 0 when it is not.
std::shared_ptr<Object> findHandle(std::uintptr_t handle, Kind kind, std::uintptr_t& liveKind);
// Drops a live handle of `kind`; false when there is none.
bool removeHandle(std::uintptr_t handle, Kind kind, std::uintptr_t& liveKind);

}  // namespace CApi
}  // namespace Zanthorel
