// CToken::decode and CToken::verify against tokens made by openssl. (The tokens of real
// authorities are rows of the table of vectors, tokens changed bit by bit of the tamper table, and
// failed decodes of the hostile catalogue.)
#include <gtest/gtest.h>

#include <regex>
#include <string>

#include "rfc3161/request.h"
#include "rfc3161/token.h"
#include "sdk/win32.h"
#include "tests/support/test_support.h"
#include "tests/support/tsa_fixture.h"

using namespace Zanthorel::PKI::TSP;
using tsa_test::pki;
using tsa_test::shell;
using Zanthorel::CBlob;
using Zanthorel::ASN1::CAttributes;
using Zanthorel::ASN1::CBigInteger;
using Zanthorel::ASN1::CGeneralName;
using zttsp_test::readFile;
using zttsp_test::toHex;

namespace {

#ifdef _WIN32
// Wine verifies no ECDSA signer (docs/wine-differences.md).
constexpr bool kVerifiesEcdsa = false;
#else
constexpr bool kVerifiesEcdsa = true;
#endif

const char kSigningCertificate[] = "1.2.840.113549.1.9.16.2.12";
const char kSigningCertificateV2[] = "1.2.840.113549.1.9.16.2.47";

bool has(const CAttributes* attributes, const char* oid) {
  return attributes != nullptr && attributes->find(oid) != attributes->end();
}

std::string firstMatch(const std::string& text, const std::string& pattern) {
  std::smatch m;
  return std::regex_search(text, m, std::regex(pattern)) ? m[1].str() : "";
}

}  // namespace

// Tokens of OpenSSL's authority with every optional field it sets (tsa.cnf) and with none
// (bare.cnf): each field as openssl stamped it, and the TSTInfo written back byte for byte.
TEST(TokenDecoding, ReadsOpensslTokensOfRsaAndEcAuthorities) {
  const struct {
    const tsa_test::Authority& authority;
    bool cert, nonce, full;
    const char* digest;
    const char* oid;
  } cases[] = {{pki().rsa, true, true, true, "sha256", "2.16.840.1.101.3.4.2.1"},
               {pki().rsa, false, false, false, "sha512", "2.16.840.1.101.3.4.2.3"},
               {pki().ec, true, false, false, "sha1", "1.3.14.3.2.26"},
               {pki().ec, false, true, true, "sha384", "2.16.840.1.101.3.4.2.2"}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.authority.name + " " + c.digest + (c.full ? " full" : " bare") +
                 (c.cert ? " with certificate" : "") + (c.nonce ? " with nonce" : ""));
    const CBlob der = tsa_test::opensslToken(c.authority, c.cert, c.nonce, c.digest,
                                             c.full ? "tsa.cnf" : "bare.cnf");
    CRequest request;
    request.decode(readFile(pki().dir + "/request.tsq"));
    CToken token;
    token.decode(der);
    EXPECT_TRUE(der == token.encode()) << "the input, byte for byte";
    EXPECT_STREQ(c.full ? tsa_test::Pki::kPolicy : "1.2.3.4.1", token.get_policy());
    EXPECT_STREQ(c.oid, token.get_hashAlgorithm().get_algorithm());
    EXPECT_TRUE(request.get_hashedMessage() == token.get_hashedMessage());
    ASSERT_EQ(c.nonce, token.get_nonce() != nullptr);
    if (c.nonce) {
      EXPECT_EQ(*request.get_nonce(), *token.get_nonce());
    }

    // Serial number and time as openssl shows them.
    zttsp_test::writeFile(pki().dir + "/tstinfo.der", tsa_test::tstInfoOf(der));
    const std::string shown = shell(
        "openssl ts -reply -token_in -in token.der -text && openssl asn1parse -inform DER -in "
        "tstinfo.der");
    EXPECT_EQ(CBigInteger(firstMatch(shown, "Serial number: (0x[0-9A-F]+)").c_str()),
              token.get_serialNumber());
    EXPECT_EQ(firstMatch(shown, "GENERALIZEDTIME +:([0-9.]+Z)"), token.get_genTimeZ());
    EXPECT_EQ(c.full, token.get_ordering());
    ASSERT_EQ(c.full, token.get_accuracy() != nullptr);
    ASSERT_EQ(c.full, token.get_tsa() != nullptr);
    if (c.full) {
      EXPECT_EQ(CAccuracy(1, 500, 100), *token.get_accuracy());
      EXPECT_EQ(CGeneralName::directoryName, token.get_tsa()->get_type());
      EXPECT_NE(std::string::npos,
                toHex(token.get_tsa()->get_value()).find(toHex(CBlob(" TSA", 4))));
    }
    EXPECT_EQ(toHex(tsa_test::tstInfoOf(der)),
              toHex(tsa_test::tstInfoOf(tsa_test::signedAgain(token))));

    EXPECT_TRUE(
        has(token.get_signedAttributes(), c.full ? kSigningCertificateV2 : kSigningCertificate));
    ASSERT_EQ(c.cert, token.get_certificates() != nullptr);
    if (c.cert) {
      EXPECT_TRUE(c.authority.certificate == token.get_certificates()->front());
    }
    EXPECT_EQ(&c.authority == &pki().rsa || kVerifiesEcdsa, token.verify(c.authority.certificate));
    EXPECT_FALSE(token.verify(pki().other.certificate));
  }
}

TEST(TokenDecoding, DecodingIntoASignedTokenLeavesItsCopiesTheirMessage) {
  const auto signer = tsa_test::rsaSigner();
  CToken token = tsa_test::tokenFor(pki().rsa, "stamped data");
  token.sign(signer.provider(), signer.keySpec(), signer.certificate(), tsa_test::sha256());
  const CBlob signedBytes = token.encode();
  const CToken copy = token;

  const CBlob other = tsa_test::opensslToken(pki().other, true);
  token.decode(other);
  EXPECT_TRUE(other == token.encode());
  EXPECT_TRUE(token.verify(pki().other.certificate));
  // The copy still holds the signed message, one opened to encode, which counts no signers.
  EXPECT_HRESULT(CRYPT_E_INVALID_MSG_TYPE, copy.verify(pki().rsa.certificate));
#ifndef _WIN32
  // Wine reads freed memory when a signed message is encoded again (docs/wine-differences.md).
  EXPECT_TRUE(signedBytes == copy.encode());
#endif
  token.decode(signedBytes);
  EXPECT_TRUE(token.verify(pki().rsa.certificate));
  EXPECT_TRUE(signedBytes == token.encode());
}
