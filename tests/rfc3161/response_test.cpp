// CResponse: the whole RFC 3161 exchange, responses of openssl, and status and token held apart.
// (The responses of real authorities are rows of the table of vectors, failed decodes of the
// hostile catalogue; openssl verifies our responses in the tool tests.)
#include <gtest/gtest.h>

#include <string>

#include "rfc3161/request.h"
#include "rfc3161/response.h"
#include "tests/support/test_support.h"
#include "tests/support/tsa_fixture.h"

using namespace Zanthorel::PKI::TSP;
using tsa_test::pki;
using tsa_test::shell;
using Zanthorel::CBlob;
using Zanthorel::CBlobList;
using Zanthorel::CDateTime;
using Zanthorel::ASN1::CAttributes;
using Zanthorel::ASN1::CBigInteger;
using Zanthorel::ASN1::CPKIStatusInfo;
using Zanthorel::ASN1::granted;
using Zanthorel::ASN1::rejection;
using zttsp_test::readFile;
using zttsp_test::vectorPath;

namespace {

const char kStampedFile[] = "a file to be stamped\n";

// A client's request for the file, with a nonce and certReq.
CRequest clientRequest() {
  CRequest request(tsa_test::sha256(), tsa_test::sha256Of(zttsp_test::blobOf(kStampedFile)), true);
  const CBigInteger nonce("0x5DEECE66D2F4E1B7");
  request.put_nonce(&nonce);
  return request;
}

// The server's side: a granted response to `requestDer` stamped by `authority`.
CBlob serve(const CBlob& requestDer, HCRYPTPROV provider, DWORD keySpec,
            const tsa_test::Authority& authority) {
  CRequest request;
  request.decode(requestDer);
  CToken token(tsa_test::Pki::kPolicy, request.get_hashAlgorithm(), request.get_hashedMessage(),
               CBigInteger("0x7E57"), CDateTime("20261123103000.25Z"), false);
  token.put_nonce(request.get_nonce());
  CAttributes signedAttributes;
  signedAttributes.push_back(tsa_test::essSigningCertificateV2(authority.certificate));
  token.put_signedAttributes(&signedAttributes);
  if (request.get_certReq()) {
    CBlobList certificates;
    certificates.push_back(authority.certificate);
    token.put_certificates(&certificates);
  }
  token.sign(provider, keySpec, authority.certificate, tsa_test::sha256());

  CResponse response;
  response.put_status(CPKIStatusInfo(granted));
  response.put_timeStampToken(&token);
  return response.encode();
}

}  // namespace

TEST(Response, CarriesAStampFromRequestToVerifiedToken) {
  const auto signer = tsa_test::rsaSigner();
  const CRequest sent = clientRequest();
  const CBlob responseDer = serve(sent.encode(), signer.provider(), signer.keySpec(), pki().rsa);

  CResponse received;
  received.decode(responseDer);
  EXPECT_EQ(granted, received.get_status().get_status());
  const CToken* token = received.get_timeStampToken();
  ASSERT_NE(nullptr, token);
  EXPECT_TRUE(sent.get_hashedMessage() == token->get_hashedMessage());
  ASSERT_NE(nullptr, token->get_nonce());
  EXPECT_EQ(*sent.get_nonce(), *token->get_nonce());
  ASSERT_NE(nullptr, token->get_certificates());
  EXPECT_TRUE(token->verify(token->get_certificates()->front()));
  EXPECT_FALSE(token->verify(pki().other.certificate));
}

TEST(Response, ReadsOpensslResponsesAndDropsTheTokenForARejection) {
  tsa_test::opensslToken(pki().rsa, true);  // leaves request.tsq
  shell(
      "openssl ts -reply -config tsa.cnf -section tsa_config -queryfile request.tsq -signer "
      "rsa.pem -inkey rsa.key -out granted.tsr && openssl ts -reply -in granted.tsr -token_out "
      "-out granted.der");
  CResponse response;
  response.decode(readFile(pki().dir + "/granted.tsr"));
  EXPECT_EQ(granted, response.get_status().get_status());
  ASSERT_NE(nullptr, response.get_timeStampToken());
  EXPECT_TRUE(readFile(pki().dir + "/granted.der") == response.get_timeStampToken()->encode());

  response.decode(readFile(vectorPath("resp-rejection-unaccepted-policy.tsr")));
  EXPECT_EQ(rejection, response.get_status().get_status());
  EXPECT_EQ(nullptr, response.get_timeStampToken()) << "the earlier token is gone";
}

// A token whose own lengths are BER is held as the codec writes it: the DER it was made from.
TEST(Response, HoldsABerTokenAsTheCodecWritesIt) {
  const CBlob der = readFile(vectorPath("tst-freetsa-sha384-micros-ordering-nocerts.der"));
  const std::size_t header = 2 + (der.pbData()[1] < 0x80 ? 0 : der.pbData()[1] & 0x7F);
  CResponse ber;
  ber.decode(
      zttsp_test::fromHex("3080"
                          "3003020100"
                          "3080" +
                          zttsp_test::toHex(der).substr(2 * header) +
                          "0000"
                          "0000"));
  ASSERT_NE(nullptr, ber.get_timeStampToken());
  EXPECT_TRUE(der == ber.get_timeStampToken()->encode());
}

TEST(Response, HoldsStatusAndTokenIndependently) {
  // The default: rejection and no token, also as openssl reads it.
  zttsp_test::writeFile(pki().dir + "/default.tsr", CResponse().encode());
  const std::string text = shell("openssl ts -reply -in default.tsr -text");
  EXPECT_NE(std::string::npos, text.find("Status: Rejected.")) << text;
  EXPECT_NE(std::string::npos, text.find("Not included.")) << text;

  // A rejection with a token; the response's copy is its own, and its own token may be put back.
  const auto signer = tsa_test::rsaSigner();
  CToken token = tsa_test::tokenFor(pki().rsa, "stamped data");
  token.sign(signer.provider(), signer.keySpec(), signer.certificate(), tsa_test::sha256());
  CResponse response, received;
  response.put_timeStampToken(&token);
  const CBigInteger otherNonce("0x01");
  token.put_nonce(&otherNonce);
  response.put_timeStampToken(response.get_timeStampToken());
  received.decode(response.encode());
  EXPECT_EQ(rejection, received.get_status().get_status());
  ASSERT_NE(nullptr, received.get_timeStampToken());
  EXPECT_EQ(CBigInteger("0xF61FEBA1020F7317"), *received.get_timeStampToken()->get_nonce());

  // Copies are deep: the copy keeps its token when the original is emptied.
  const CResponse copy = received;
  received.put_timeStampToken(nullptr);
  ASSERT_NE(nullptr, copy.get_timeStampToken());
  EXPECT_TRUE(copy.get_timeStampToken()->verify(signer.certificate()));

  // A token neither signed nor decoded cannot be encoded.
  const CToken unsignedToken = tsa_test::tokenFor(pki().rsa, "stamped data");
  received.put_timeStampToken(&unsignedToken);
  EXPECT_HRESULT(E_FAIL, received.encode());
}
