// Across the two builds: what the Windows build signs under Wine, the Linux build reads and
// verifies, and the reverse. The Linux side is the Linux build's zttsp-cross-peer, run as a host
// command; the two sides' readings of each message must agree word for word.
#include <gtest/gtest.h>

#include <string>

#include "tests/cross/cross_messages.h"
#include "tests/support/test_support.h"

using tsa_test::pki;
using zttsp_test::readFile;
using zttsp_test::TempDir;

namespace {

class CrossBuild : public testing::Test {
 protected:
  void SetUp() override {
    if (zttsp_test::run("test -x " + std::string(ZTTSP_LINUX_PEER)).status != 0)
      GTEST_FAIL() << ZTTSP_LINUX_PEER
                   << " is missing: build the linux preset first (scripts/test.sh does)";
    zttsp_test::writeFile(key(), authority().key);
    zttsp_test::writeFile(certificate(), authority().certificate);
  }

  // RSA: Wine verifies no ECDSA signer (docs/wine-differences.md).
  static const tsa_test::Authority& authority() { return pki().rsa; }
  std::string key() const { return dir_.path("key.der"); }
  std::string certificate() const { return dir_.path("certificate.der"); }
  std::string path(const std::string& name) const { return dir_.path(name); }

  // The peer's output, which must end well.
  static std::string peer(const std::string& arguments) {
    const auto result = zttsp_test::run(std::string(ZTTSP_LINUX_PEER) + " " + arguments);
    EXPECT_EQ(0, result.status) << arguments << ": " << result.output;
    return result.output;
  }

 private:
  TempDir dir_;
};

TEST_F(CrossBuild, StampsSignedUnderWineVerifyInTheLinuxBuild) {
  zttsp_test::writeFile(path("stamp.der"), cross_test::signedStamp(authority()));
  const std::string stamp =
      cross_test::readStamp(readFile(path("stamp.der")), authority().certificate);
  EXPECT_NE(std::string::npos, stamp.find("verified 1")) << stamp;
  EXPECT_EQ(stamp + "\n", peer("read-stamp " + path("stamp.der") + " " + certificate()));
}

// Wine's contentType attribute says id-data whatever the content (docs/wine-differences.md):
// the Linux build reads every field of Wine's tokens but, holding to RFC 5652, does not let a
// signature over "data" pass for a time stamp.
TEST_F(CrossBuild, WineTokensDecodeInTheLinuxBuildButFailItsContentTypeCheck) {
  zttsp_test::writeFile(path("token.der"), cross_test::signedToken(authority()));
  std::string token = cross_test::readToken(readFile(path("token.der")), authority().certificate);
  const std::size_t verified = token.find("verified 1");
  ASSERT_NE(std::string::npos, verified) << token;
  token.replace(verified, std::string("verified 1").size(), "verified 0");
  EXPECT_EQ(token + "\n", peer("read-token " + path("token.der") + " " + certificate()));
}

TEST_F(CrossBuild, WhatTheLinuxBuildSignsVerifiesUnderWine) {
  for (const std::string kind : {"token", "stamp"}) {
    const std::string file = path(kind + ".der");
    peer("sign-" + kind + " " + key() + " " + certificate() + " " + file);
    const auto read = kind == "token" ? cross_test::readToken : cross_test::readStamp;
    const std::string text = read(readFile(file), authority().certificate);
    EXPECT_NE(std::string::npos, text.find("verified 1")) << text;
    EXPECT_EQ(peer("read-" + kind + " " + file + " " + certificate()), text + "\n");
  }
}

}  // namespace
