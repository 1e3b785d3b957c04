// CResponse: the whole RFC 3161 exchange, responses of openssl and of real authorities, and the
// states that its operations leave.
#include <gtest/gtest.h>

#include <string>

#include "outside/asn1/tsp.h"
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
using zttsp_test::fromHex;
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

std::string statusTextOf(const CResponse& response) {
  const auto* lines = response.get_status().get_statusString();
  return lines != nullptr && !lines->empty() ? lines->front() : "";
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
  EXPECT_TRUE(responseDer == received.encode()) << "our own DER comes back unchanged";
}

#ifndef _WIN32
// Wine writes the TSTInfo bare (PKCS #7 form), which `openssl ts` refuses
// (docs/wine-differences.md).
TEST(Response, OpensslVerifiesOurResponsesOfRsaAndEcAuthorities) {
  const auto rsa = tsa_test::rsaSigner();
  const auto ec = tsa_test::ecSigner();
  const CBlob requestDer = clientRequest().encode();
  zttsp_test::writeFile(pki().dir + "/ours.tsq", requestDer);
  zttsp_test::writeFile(pki().dir + "/rsa.tsr",
                        serve(requestDer, rsa.provider(), rsa.keySpec(), pki().rsa));
  zttsp_test::writeFile(pki().dir + "/ec.tsr", serve(requestDer, ec.provider(), 0, pki().ec));
  for (const char* name : {"rsa", "ec"}) {
    EXPECT_NE(std::string::npos, shell(std::string("openssl ts -verify -in ") + name +
                                       ".tsr -queryfile ours.tsq -CAfile ca.pem")
                                     .find("Verification: OK"))
        << name;
  }
}
#endif

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

TEST(Response, ReadsTheResponsesOfRealAuthorities) {
  const struct {
    const char* file;
    int status;
    const char* statusText;
    std::uint32_t failInfo;
    std::size_t certificates;  // the X.509 ones; when there are, exactly one is the signer's
  } cases[] = {
      {"resp-bc-md5-accuracy-ordering.tsr", granted, "", 0, 0},
      {"resp-digicert-sha1-rsasha1-certs.tsr", granted, "", 0, 2},
      {"resp-drv-qc-essv2-etsi-policy.tsr", granted, "", 0, 2},
      {"resp-freetsa-sha256-nononce-micros-certs.tsr", granted, "", 0, 1},
      {"resp-freetsa-sha512-ordering-essv1.tsr", granted, "", 0, 2},
      {"resp-globalsign-g4-essv2-cmsalgprotect.tsr", granted, "", 0, 4},
      {"resp-identrust-sha512imprint-essv1.tsr", granted, "", 0, 2},
      {"resp-ncipher-v1attrcert-millis.tsr", granted, "", 0, 1},
      {"resp-rejection-badalg-statustext.tsr", rejection, "request contains unknown algorithm",
       Zanthorel::ASN1::badAlg, 0},
      {"resp-rejection-unaccepted-policy.tsr", rejection, "Requested policy is not supported.",
       Zanthorel::ASN1::unacceptedPolicy, 0},
      {"resp-signserver-negative-nonce-nocerts.tsr", granted, "Operation Okay", 0, 0},
      {"resp-signserver-statusstring-certs.tsr", granted, "Operation Okay", 0, 2},
      {"resp-sigstage-ecdsa-sha384imprint.tsr", granted, "", 0, 1},
      {"resp-sigstore-mock-ber-octetstring-negserial.tsr", granted, "", 0, 0},
      {"resp-symantec-sha256-nonce-nocerts.tsr", granted, "", 0, 0},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.file);
    CResponse response;
#ifdef _WIN32
    // Wine hands out eContent in a constructed OCTET STRING as it came, tag 0x24, which is no
    // TSTInfo (docs/wine-differences.md).
    if (std::string(c.file).find("ber-octetstring") != std::string::npos) {
      EXPECT_HRESULT(CRYPT_E_ASN1_INTERNAL, response.decode(readFile(vectorPath(c.file))));
      continue;
    }
#endif
    response.decode(readFile(vectorPath(c.file)));
    EXPECT_EQ(c.status, response.get_status().get_status());
    EXPECT_EQ(c.statusText, statusTextOf(response));
    EXPECT_EQ(c.failInfo, response.get_status().get_failInfo());
    const CToken* token = response.get_timeStampToken();
    ASSERT_EQ(c.status == granted, token != nullptr);
    if (token == nullptr || c.certificates == 0) continue;
    ASSERT_NE(nullptr, token->get_certificates());
    EXPECT_EQ(c.certificates, token->get_certificates()->size());
    int signers = 0;
    for (const CBlob& certificate : *token->get_certificates())
      signers += token->verify(certificate) ? 1 : 0;
#ifdef _WIN32
    // Wine verifies no ECDSA signer (docs/wine-differences.md).
    EXPECT_EQ(std::string(c.file).find("ecdsa") == std::string::npos ? 1 : 0, signers);
#else
    EXPECT_EQ(1, signers);
#endif
  }

  // A signature that was tampered with decodes and does not verify.
  CResponse tampered;
  tampered.decode(readFile(vectorPath("resp-sigstage-ecdsa-invalid-signature.tsr")));
  const CToken* token = tampered.get_timeStampToken();
  ASSERT_TRUE(token != nullptr && token->get_certificates() != nullptr);
  EXPECT_FALSE(token->verify(token->get_certificates()->front()));

  // A token whose own lengths are BER is held as the codec writes it: the DER it was made from.
  const CBlob der = readFile(vectorPath("tst-freetsa-sha384-micros-ordering-nocerts.der"));
  const std::size_t header = 2 + (der.pbData()[1] < 0x80 ? 0 : der.pbData()[1] & 0x7F);
  CResponse ber;
  ber.decode(
      fromHex("3080"
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
}

TEST(Response, FailuresLeaveTheStatesNamed) {
  const CToken token = tsa_test::tokenFor(pki().rsa, "stamped data");  // neither signed nor decoded
  CResponse response;
  response.put_status(CPKIStatusInfo(granted));
  response.put_timeStampToken(&token);

  // Empty input changes nothing; bytes that are no response leave a default one.
  EXPECT_HRESULT(E_INVALIDARG, response.decode(CBlob()));
  EXPECT_EQ(granted, response.get_status().get_status());
  EXPECT_NE(nullptr, response.get_timeStampToken());
  EXPECT_HRESULT(CRYPT_E_ASN1_INTERNAL, response.decode(fromHex("3003020100FF")));
  EXPECT_EQ(rejection, response.get_status().get_status());
  EXPECT_EQ(nullptr, response.get_timeStampToken());

  // A token neither signed nor decoded cannot be encoded.
  response.put_timeStampToken(&token);
  EXPECT_HRESULT(E_FAIL, response.encode());

  // A granted response around a SignedData of data: the status is read, the token kept as its
  // failed decode left it.
  shell(
      "openssl cms -sign -nodetach -binary -in data.txt -signer rsa.pem -inkey rsa.key "
      "-outform DER -out data.p7");
  const CBlob data = readFile(pki().dir + "/data.p7");
  ASN1BERDecodeBuffer in(data.pbData(), data.cbData());
  ASN1T_TimeStampResp wrapped;
  ASSERT_EQ(0, ASN1C_TimeStampToken(in, wrapped.timeStampToken).Decode());
  wrapped.m.timeStampTokenPresent = 1;
  ASN1BEREncodeBuffer out;
  const int length = ASN1C_TimeStampResp(out, wrapped).Encode();
  ASSERT_GT(length, 0);
  EXPECT_HRESULT(CRYPT_E_BAD_MSG,
                 response.decode(CBlob(out.getMsgPtr(), static_cast<std::uint32_t>(length))));
  EXPECT_EQ(granted, response.get_status().get_status());
  ASSERT_NE(nullptr, response.get_timeStampToken());
  EXPECT_TRUE(data == response.get_timeStampToken()->encode());
  EXPECT_HRESULT(E_FAIL, response.get_timeStampToken()->verify(pki().rsa.certificate));
}
