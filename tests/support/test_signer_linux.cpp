// TestSigner in the Linux build: the provider from the platform layer.
#include <stdexcept>

#include "platform/key_provider.h"
#include "tests/support/test_signer.h"
#include "tests/support/test_support.h"

namespace zttsp_test {

TestSigner TestSigner::importRsa(const Zanthorel::CBlob& privateKey,
                                 const Zanthorel::CBlob& certificate) {
  return importKey(privateKey, certificate);
}

TestSigner TestSigner::importKey(const Zanthorel::CBlob& privateKey,
                                 const Zanthorel::CBlob& certificate) {
  HCRYPTPROV provider = 0;
  if (!ZtAcquireContextFromPrivateKey(&provider, privateKey.pbData(), privateKey.cbData()))
    throw std::runtime_error("ZtAcquireContextFromPrivateKey failed: " +
                             hresultText(static_cast<HRESULT>(GetLastError())));
  return TestSigner(provider, certificate);
}

}  // namespace zttsp_test
