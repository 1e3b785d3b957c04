// The typed side of the handle table: a C handle type names its C++ value through HandleOf
// (objects.h), and the C functions reach the value with Use, make handles with publish and
// drop them with releaseHandle.
//
//   Use<zttsp_token> token(handle);          // ZTTSP_E_POINTER, ZTTSP_E_HANDLE when refused
//   token->get_policy();
//   publish(out, std::move(decodedToken));   // *out becomes a new zttsp_token*
#pragma once

#include <memory>
#include <utility>

#include "capi/call.h"
#include "capi/handle_table.h"

namespace Zanthorel {
namespace CApi {

// HandleOf<H>::Value is the C++ type behind the C handle type H, HandleOf<H>::kind its kind.
template <class Handle>
struct HandleOf;

template <class T>
struct Holder : Object {
  template <class... Args>
  explicit Holder(Args&&... args) : value(std::forward<Args>(args)...) {}
  T value;
};

// ZTTSP_E_POINTER or ZTTSP_E_HANDLE for a handle of `kind` that the table refused.
[[noreturn]] void refuseHandle(const void* handle, Kind kind, std::uintptr_t liveKind);

// The value behind a handle, held for the length of a call.
template <class Handle>
class Use {
 public:
  using Value = typename HandleOf<Handle>::Value;

  explicit Use(const Handle* handle) {
    std::uintptr_t liveKind = 0;
    const auto value = reinterpret_cast<std::uintptr_t>(handle);
    std::shared_ptr<Object> object = findHandle(value, HandleOf<Handle>::kind, liveKind);
    if (!object) refuseHandle(handle, HandleOf<Handle>::kind, liveKind);
    held_ = std::static_pointer_cast<Holder<Value>>(std::move(object));
  }

  Value& operator*() const { return held_->value; }
  Value* operator->() const { return &held_->value; }

 private:
  std::shared_ptr<Holder<Value>> held_;
};

// A new handle for `held`, given through `out`.
template <class Handle>
void publishHeld(Handle** out, std::shared_ptr<Holder<typename HandleOf<Handle>::Value>> held) {
  *out = reinterpret_cast<Handle*>(addHandle(HandleOf<Handle>::kind, std::move(held)));
}

// A new handle for a value made from `args`, given through `out`.
template <class Handle, class... Args>
void publish(Handle** out, Args&&... args) {
  using Value = typename HandleOf<Handle>::Value;
  publishHeld(out, std::make_shared<Holder<Value>>(std::forward<Args>(args)...));
}

// The body of each _release function: NULL is ignored.
template <class Handle>
zttsp_result releaseHandle(const char* function, Handle* handle) noexcept {
  return runCall(function, [handle] {
    if (handle == nullptr) return;
    std::uintptr_t liveKind = 0;
    if (!removeHandle(reinterpret_cast<std::uintptr_t>(handle), HandleOf<Handle>::kind, liveKind))
      refuseHandle(handle, HandleOf<Handle>::kind, liveKind);
  });
}

}  // namespace CApi
}  // namespace Zanthorel
