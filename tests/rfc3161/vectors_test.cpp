// The requests, responses and tokens of other implementations and real authorities, as the table
// of vectors describes them (tests/support/vectors.h): each reads as its row says and is written
// back as it came.
#include <gtest/gtest.h>

#include <string>

#include "rfc3161/request.h"
#include "rfc3161/response.h"
#include "sdk/win32.h"
#include "tests/support/test_support.h"
#include "tests/support/tsa_fixture.h"
#include "tests/support/vectors.h"

using namespace Zanthorel::PKI::TSP;
using Zanthorel::CBlob;
using Zanthorel::CBlobList;
using zttsp_test::toHex;
using zttsp_test::Vector;
using K = zttsp_test::VectorKind;

namespace {

#ifdef _WIN32
// Wine verifies no ECDSA signer, checks signed attributes over their DER re-sorting, and hands out
// a constructed eContent as it came, which is no TSTInfo (docs/wine-differences.md).
constexpr bool kWine = true;
#else
constexpr bool kWine = false;
#endif

CRequest decodedRequest(const CBlob& bytes) {
  CRequest request;
  request.decode(bytes);
  return request;
}

// What every token of the table must hold to: its bytes back, its certificates in message order,
// exactly one certificate of its signer's file verifying it, the request it answers matched, and
// its TSTInfo written back as received.
void expectTokenAsTheTableSays(const Vector& v, const CToken& token) {
  const CBlob der = v.token();
  EXPECT_TRUE(der == token.encode());
  const CBlobList inMessage = tsa_test::layoutOf(der).certificates;
  EXPECT_TRUE(inMessage == (token.get_certificates() ? *token.get_certificates() : CBlobList()));

  int signers = 0;
  for (const CBlob& certificate : zttsp_test::certificatesIn(v.signer ? v.signer : v.file))
    signers += token.verify(certificate) ? 1 : 0;
  const bool wineRefuses =
      kWine && (v.has(zttsp_test::kEcdsa) || v.has(zttsp_test::kUnsortedAttributes));
  EXPECT_EQ(v.has(zttsp_test::kBadSignature) || wineRefuses ? 0 : 1, signers);

  if (v.has(zttsp_test::kUnsortedAttributes)) {
    // Signed attributes in the order received, which is not DER's. Wine hands the signer out
    // re-encoded, its attributes sorted (docs/wine-differences.md).
    std::string order;
    for (const auto& attribute : *token.get_signedAttributes())
      order += std::string(attribute.get_oid()) + " ";
    EXPECT_EQ(!kWine,
              order.find(szOID_RSA_messageDigest) < order.find("1.2.840.113549.1.9.16.2.12"));
  }
  if (v.request != nullptr) {
    const CRequest request = decodedRequest(zttsp_test::vector(v.request).bytes());
    EXPECT_TRUE(request.get_hashedMessage() == token.get_hashedMessage());
    ASSERT_EQ(request.get_nonce() != nullptr, token.get_nonce() != nullptr);
    if (request.get_nonce() != nullptr) {
      EXPECT_EQ(*request.get_nonce(), *token.get_nonce());
    }
  }

  // A TSTInfo with a DEFAULT value sent is written in DER, which leaves it out.
  const CBlob again = tsa_test::signedAgain(token);
  if (v.has(zttsp_test::kNonDerTstInfo)) {
    CToken reread;
    reread.decode(again);
    EXPECT_EQ(zttsp_test::describe(token), zttsp_test::describe(reread));
    EXPECT_NE(toHex(tsa_test::tstInfoOf(der)), toHex(tsa_test::tstInfoOf(again)));
  } else {
    EXPECT_EQ(toHex(tsa_test::tstInfoOf(der)), toHex(tsa_test::tstInfoOf(again)));
  }
}

}  // namespace

TEST(Vectors, RequestsResponsesAndTokensReadAsTheTableSays) {
  for (const Vector& v : zttsp_test::vectorsOf({K::request, K::response, K::token})) {
    SCOPED_TRACE(v.file);
    const CBlob bytes = v.bytes();
    if (v.kind == K::request) {
      const CRequest request = decodedRequest(bytes);
      EXPECT_EQ(v.decodesTo, zttsp_test::describe(request));
      EXPECT_EQ(toHex(bytes), toHex(request.encode()));
    } else if (v.kind == K::token) {
      CToken token;
      token.decode(bytes);
      EXPECT_EQ(v.decodesTo, zttsp_test::describe(token));
      expectTokenAsTheTableSays(v, token);
    } else if (kWine && v.has(zttsp_test::kConstructedContent)) {
      EXPECT_HRESULT(CRYPT_E_ASN1_INTERNAL, CResponse().decode(bytes));
    } else {
      CResponse response;
      response.decode(bytes);
      EXPECT_EQ(v.decodesTo, zttsp_test::describe(response));
      EXPECT_EQ(toHex(bytes), toHex(response.encode()));
      if (response.get_timeStampToken() != nullptr)
        expectTokenAsTheTableSays(v, *response.get_timeStampToken());
    }
  }
}
