// The message object behind an HCRYPTMSG: reference counted, one kind per way it was opened.
#pragma once

#include <atomic>
#include <cstdint>

#include "sdk/wincrypt.h"

namespace Zanthorel {
namespace Platform {

class Message {
 public:
  Message(const Message&) = delete;
  Message& operator=(const Message&) = delete;

  // The message behind `handle`, or nullptr when it is NULL or not a message of ours.
  static Message* fromHandle(HCRYPTMSG handle) noexcept;
  HCRYPTMSG handle() noexcept { return this; }

  void addRef() noexcept;
  void release() noexcept;

  // The CryptMsg operations; each throws its failure as an HRESULT.
  virtual void update(const BYTE* data, DWORD size, bool final) = 0;
  virtual void getParam(DWORD type, DWORD index, void* data, DWORD* size) = 0;
  virtual void control(DWORD flags, DWORD type, const void* para) = 0;

 protected:
  Message() = default;
  virtual ~Message();

 private:
  static constexpr std::uint32_t kMagic = 0x5A4D5347;  // "ZMSG"
  std::uint32_t magic_ = kMagic;
  std::atomic<DWORD> references_{1};
};

}  // namespace Platform
}  // namespace Zanthorel
