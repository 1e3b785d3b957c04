// What TestSigner does alike in both builds: own and release the provider.
#include <utility>

#include "tests/support/test_signer.h"

namespace zttsp_test {

TestSigner::TestSigner(HCRYPTPROV provider, Zanthorel::CBlob certificate)
    : provider_(provider), certificate_(std::move(certificate)) {}

TestSigner::TestSigner(TestSigner&& other) noexcept
    : provider_(std::exchange(other.provider_, 0)), certificate_(std::move(other.certificate_)) {}

TestSigner::~TestSigner() {
  if (provider_ != 0) CryptReleaseContext(provider_, 0);
}

}  // namespace zttsp_test
