#include "platform/message.h"

#include "platform/api_guard.h"

namespace Zanthorel {
namespace Platform {

Message::~Message() {
  magic_ = 0;
}

Message* Message::fromHandle(HCRYPTMSG handle) noexcept {
  auto* message = static_cast<Message*>(handle);
  return message != nullptr && message->magic_ == kMagic ? message : nullptr;
}

void Message::addRef() noexcept {
  references_.fetch_add(1);
}

void Message::release() noexcept {
  if (references_.fetch_sub(1) == 1) delete this;
}

namespace {

Message& messageOf(HCRYPTMSG handle) {
  Message* message = Message::fromHandle(handle);
  if (message == nullptr) fail(E_INVALIDARG);
  return *message;
}

}  // namespace
}  // namespace Platform
}  // namespace Zanthorel

using Zanthorel::Platform::guardedCall;
using Zanthorel::Platform::Message;
using Zanthorel::Platform::messageOf;

BOOL WINAPI CryptMsgUpdate(HCRYPTMSG hCryptMsg, const BYTE* pbData, DWORD cbData, BOOL fFinal) {
  return guardedCall(FALSE, [&]() -> BOOL {
    messageOf(hCryptMsg).update(pbData, cbData, fFinal != FALSE);
    return TRUE;
  });
}

BOOL WINAPI CryptMsgGetParam(HCRYPTMSG hCryptMsg, DWORD dwParamType, DWORD dwIndex, void* pvData,
                             DWORD* pcbData) {
  return guardedCall(FALSE, [&]() -> BOOL {
    if (pcbData == nullptr) Zanthorel::Platform::fail(E_INVALIDARG);
    messageOf(hCryptMsg).getParam(dwParamType, dwIndex, pvData, pcbData);
    return TRUE;
  });
}

BOOL WINAPI CryptMsgControl(HCRYPTMSG hCryptMsg, DWORD dwFlags, DWORD dwCtrlType,
                            void const* pvCtrlPara) {
  return guardedCall(FALSE, [&]() -> BOOL {
    messageOf(hCryptMsg).control(dwFlags, dwCtrlType, pvCtrlPara);
    return TRUE;
  });
}

HCRYPTMSG WINAPI CryptMsgDuplicate(HCRYPTMSG hCryptMsg) {
  Message* message = Message::fromHandle(hCryptMsg);
  if (message == nullptr) {
    SetLastError(ERROR_INVALID_HANDLE);
    return nullptr;
  }
  message->addRef();
  return hCryptMsg;
}

BOOL WINAPI CryptMsgClose(HCRYPTMSG hCryptMsg) {
  if (hCryptMsg == nullptr) return TRUE;
  Message* message = Message::fromHandle(hCryptMsg);
  if (message == nullptr) {
    SetLastError(ERROR_INVALID_HANDLE);
    return FALSE;
  }
  message->release();
  return TRUE;
}
