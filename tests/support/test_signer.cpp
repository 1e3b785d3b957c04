// What TestSigner does alike in both builds: own and release the provider.
#include <utility>

#include "tests/support/test_signer.h"

namespace zttsp_test {

TestSigner::TestSigner(HCRYPTPROV provider, Zanthorel::CBlob certificate)
    : provider_(provider), certificate_(std::move(certificate)) {}

TestSigner::~TestSigner() {
  if (provider_ != 0) CryptReleaseContext(provider_, 0);
}

}  // namespace zttsp_test
