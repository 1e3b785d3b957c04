// TestSigner in the Linux build: keys and certificates from openssl, the provider from the
// platform layer.
#include <stdexcept>
#include <utility>

#include "tests/support/test_signer.h"
#include "tests/support/test_support.h"

namespace zttsp_test {
namespace {

HCRYPTPROV providerFor(const Zanthorel::CBlob& privateKey) {
  HCRYPTPROV provider = 0;
  if (!ZtAcquireContextFromPrivateKey(&provider, privateKey.pbData(), privateKey.cbData()))
    throw std::runtime_error("ZtAcquireContextFromPrivateKey failed: " +
                             hresultText(static_cast<HRESULT>(GetLastError())));
  return provider;
}

}  // namespace

TestSigner TestSigner::generateRsa(const std::string& commonName) {
  const TempDir dir;
  const auto made =
      run("openssl req -x509 -newkey rsa:2048 -nodes -days 365 -subj '/CN=" + commonName +
          "' -addext extendedKeyUsage=critical,timeStamping -keyout '" + dir.path("key.pem") +
          "' -outform DER -out '" + dir.path("cert.der") + "'");
  if (made.status != 0) throw std::runtime_error("openssl req failed: " + made.output);
  return importRsa(readFile(dir.path("key.pem")), readFile(dir.path("cert.der")));
}

TestSigner TestSigner::importRsa(const Zanthorel::CBlob& privateKey,
                                 const Zanthorel::CBlob& certificate) {
  return TestSigner(providerFor(privateKey), certificate);
}

}  // namespace zttsp_test
