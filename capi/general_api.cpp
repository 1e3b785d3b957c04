// zttsp_last_error_message and zttsp_free.
#include "capi/buffers.h"
#include "capi/call.h"
#include "capi/zttsp.h"

using namespace Zanthorel::CApi;

const char* zttsp_last_error_message(void) {
  return lastMessage();
}

zttsp_result zttsp_free(void* buffer) {
  return runCall(__func__, [buffer] {
    if (buffer != nullptr && !freeBuffer(buffer))
      fail(ZTTSP_E_INVALIDARG, "the pointer is no buffer handed out by zttsp, or freed already");
  });
}
