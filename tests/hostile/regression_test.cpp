// Every input a fuzzer ever broke a promise with (tests/data/regressions/<target>/) and every
// third-party vector, through the fuzz targets' own checks.
#include <filesystem>
#include <stdexcept>

#include "fuzz/targets/fixed_tsa.h"
#include "fuzz/targets/fuzz_targets.h"
#include "rfc3161/token.h"
#include "sdk/win32.h"
#include "tests/support/test_support.h"
#include "tests/support/vectors.h"

namespace fs = std::filesystem;

namespace {

class FuzzRegressions : public ::testing::Test {
 protected:
  void SetUp() override {
    zttsp_fuzz::setFindingHandler([](const char* what) { throw std::logic_error(what); });
  }
  void TearDown() override { zttsp_fuzz::setFindingHandler(nullptr); }

  static void replay(const zttsp_fuzz::FuzzTarget& target, const fs::path& file) {
    const Zanthorel::CBlob input = zttsp_test::readFile(file.string());
    try {
      target.run(input.pbData(), input.cbData());
    } catch (const std::logic_error& finding) {
      ADD_FAILURE() << target.name << " on " << file << ": " << finding.what();
    }
  }
};

// Kept inputs through their own target, vectors through every target.
TEST_F(FuzzRegressions, EveryKeptInputAndVectorPassesItsTargets) {
  for (const auto& folder : fs::directory_iterator(zttsp_test::dataPath("regressions"))) {
    if (!folder.is_directory()) continue;
    const std::string name = folder.path().filename().string();
    const zttsp_fuzz::FuzzTarget* target = zttsp_fuzz::findFuzzTarget(name.c_str());
    ASSERT_NE(nullptr, target) << "no fuzz target " << name;
    for (const auto& file : fs::directory_iterator(folder.path()))
      replay(*target, file.path());
  }
  for (const zttsp_test::Vector& v : zttsp_test::vectors()) {
    for (const zttsp_fuzz::FuzzTarget& target : zttsp_fuzz::fuzzTargets())
      replay(target, zttsp_test::vectorPath(v.file));
  }
}

// The token and response fuzzers reach the signature check only if this holds.
TEST(FuzzTargets, TheFixedTokenVerifiesWithTheFixedCertificate) {
  Zanthorel::PKI::TSP::CToken token;
  token.decode(zttsp_fuzz::fixedToken());
  EXPECT_TRUE(token.verify(zttsp_fuzz::fixedCertificate()));
}

}  // namespace
