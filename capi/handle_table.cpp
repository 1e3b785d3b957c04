#include "capi/handle_table.h"

#include <mutex>
#include <unordered_map>

namespace Zanthorel {
namespace CApi {
namespace {

struct HandleTable {
  std::mutex lock;
  std::uintptr_t issued = 0;
  std::unordered_map<std::uintptr_t, std::shared_ptr<Object>> live;
};

// Never destroyed: objects still live at exit stay as they are rather than be released while
// the platform functions they would call may be gone.
HandleTable& table() {
  static HandleTable* const instance = new HandleTable;
  return *instance;
}

std::uintptr_t kindOf(std::uintptr_t handle) {
  return handle & ((1u << kKindBits) - 1);
}

}  // namespace

std::uintptr_t addHandle(Kind kind, std::shared_ptr<Object> object) {
  HandleTable& handles = table();
  const std::lock_guard<std::mutex> hold(handles.lock);
  const std::uintptr_t handle = (++handles.issued << kKindBits) | static_cast<std::uintptr_t>(kind);
  handles.live.emplace(handle, std::move(object));
  return handle;
}

std::shared_ptr<Object> findHandle(std::uintptr_t handle, Kind kind, std::uintptr_t& liveKind) {
  HandleTable& handles = table();
  const std::lock_guard<std::mutex> hold(handles.lock);
  const auto found = handles.live.find(handle);
  liveKind = found != handles.live.end() ? kindOf(handle) : 0;
  if (liveKind != static_cast<std::uintptr_t>(kind)) return nullptr;
  return found->second;
}

bool removeHandle(std::uintptr_t handle, Kind kind, std::uintptr_t& liveKind) {
  std::shared_ptr<Object> released;  // destroyed after the lock is let go
  {
    HandleTable& handles = table();
    const std::lock_guard<std::mutex> hold(handles.lock);
    const auto found = handles.live.find(handle);
    liveKind = found != handles.live.end() ? kindOf(handle) : 0;
    if (liveKind != static_cast<std::uintptr_t>(kind)) return false;
    released = std::move(found->second);
    handles.live.erase(found);
  }
  return true;
}

}  // namespace CApi
}  // namespace Zanthorel
