// The providers of the C interface: from a PKCS #8 key (Linux) or a caller's HCRYPTPROV.
#include "capi/arguments.h"
#include "capi/objects.h"
#include "frame/errors.h"

#ifndef _WIN32
#include "platform/key_provider.h"
#endif

using namespace Zanthorel::CApi;
using Zanthorel::CBlob;
using Zanthorel::PKI::TSP::HResultFromLastError;

namespace {

// A provider handle for one reference on `handle`, which is released should that fail.
void publishProvider(zttsp_provider** provider, HCRYPTPROV handle, DWORD keySpec) {
  std::shared_ptr<Holder<Provider>> held;
  try {
    held = std::make_shared<Holder<Provider>>(handle, keySpec);
  } catch (...) {
    CryptReleaseContext(handle, 0);
    throw;
  }
  publishHeld(provider, std::move(held));
}

}  // namespace

zttsp_result zttsp_provider_from_pkcs8(const uint8_t* key, size_t key_length,
                                       zttsp_provider** provider) {
  return runCall(__func__, [&] {
    outArgument(provider, "provider");
    const CBlob pkcs8 = bytesArgument(key, key_length, "key");
#ifdef _WIN32
    fail(ZTTSP_E_NOTIMPL,
         "Windows providers come from CryptAcquireContext: pass one to zttsp_provider_from_handle");
#else
    HCRYPTPROV handle = 0;
    if (!ZtAcquireContextFromPrivateKey(&handle, pkcs8.pbData(), pkcs8.cbData())) {
      const HRESULT error = HResultFromLastError();
      fail(error < 0 ? error : ZTTSP_E_FAIL,
           "the key is no PKCS #8 RSA key of 2048 to 4096 bits or ECDSA key on P-256, P-384 or "
           "P-521");
    }
    publishProvider(provider, handle, ZTTSP_KEY_SIGNATURE);
#endif
  });
}

zttsp_result zttsp_provider_from_handle(uintptr_t hcryptprov, uint32_t key_spec,
                                        zttsp_provider** provider) {
  return runCall(__func__, [&] {
    outArgument(provider, "provider");
    if (hcryptprov == 0) fail(ZTTSP_E_INVALIDARG, "hcryptprov is 0");
    if (key_spec != ZTTSP_KEY_SIGNATURE && key_spec != ZTTSP_KEY_EXCHANGE)
      fail(ZTTSP_E_INVALIDARG, "key_spec is neither ZTTSP_KEY_SIGNATURE nor ZTTSP_KEY_EXCHANGE");
    if (!CryptContextAddRef(hcryptprov, nullptr, 0)) {
      const HRESULT error = HResultFromLastError();
      fail(error < 0 ? error : ZTTSP_E_INVALIDARG, "hcryptprov is no provider handle");
    }
    publishProvider(provider, hcryptprov, key_spec);
  });
}

zttsp_result zttsp_provider_release(zttsp_provider* provider) {
  return releaseHandle(__func__, provider);
}
