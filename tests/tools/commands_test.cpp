// zttsp query, reply, verify and inspect, checked against openssl ts and the vectors of real
// authorities.
#include <map>
#include <regex>
#include <set>
#include <string>

#include "rfc3161/request.h"
#include "tests/support/test_support.h"
#include "tests/support/tsa_fixture.h"
#include "tests/support/vectors.h"
#include "tests/tools/tool_process.h"

namespace {

using tool_test::contains;
using tool_test::zttsp;
using tsa_test::pki;
using zttsp_test::CommandResult;
using zttsp_test::TempDir;
using zttsp_test::vectorPath;

class Commands : public tool_test::InFolder {
 protected:
  // Something to stamp, in the test's folder.
  Commands() { zttsp_test::writeText(dir_.path("stamped.txt"), "stamp me\n"); }
  // `zttsp verify`, expected to say OK.
  void expectVerified(const std::string& arguments) {
    const auto verified = tool("verify " + arguments);
    EXPECT_EQ(0, verified.status) << arguments << "\n" << verified.output;
    EXPECT_TRUE(contains(verified.output, "Verification: OK")) << arguments << "\n"
                                                               << verified.output;
  }
  // `zttsp verify`, expected to fail and name each of `checks`; its output.
  std::string expectFailed(const std::string& arguments,
                           std::initializer_list<const char*> checks) {
    const auto verified = tool("verify " + arguments);
    EXPECT_EQ(1, verified.status) << arguments << "\n" << verified.output;
    EXPECT_TRUE(contains(verified.output, "Verification: FAILED")) << verified.output;
    for (const char* check : checks)
      EXPECT_TRUE(contains(verified.output, std::string("\n  ") + check + ": "))
          << arguments << " should name " << check << ":\n"
          << verified.output;
    return verified.output;
  }
  std::string pkiFile(const std::string& name) const { return "'" + pki().dir + "/" + name + "'"; }
  std::string signer(const std::string& name = "rsa") const {
    return " -signer " + pkiFile(name + ".pem") + " -inkey " + pkiFile(name + ".key");
  }
};

TEST_F(Commands, OpensslResponsesVerifyWithZttsp) {
  sh("printf 'stamped by openssl\\n' > data.txt && cp " + pkiFile("tsa.cnf") +
     " sha256.cnf && grep -v ess_cert_id_alg sha256.cnf > sha1.cnf && cp " + pkiFile("serial.txt") +
     " serial.txt");
  const std::string ca = " -CAfile " + pkiFile("ca.pem");
  // ESS v2 (sha256.cnf) and v1 (sha1.cnf, OpenSSL's default), by an RSA and an EC authority.
  for (const std::string authority : {"rsa", "ec"}) {
    for (const std::string config : {"sha256.cnf", "sha1.cnf"}) {
      SCOPED_TRACE(authority + " " + config);
      sh("openssl ts -query -data data.txt -cert -out request.tsq && openssl ts -reply -config " +
         config + " -section tsa_config -queryfile request.tsq" + signer(authority) +
         " -out response.tsr 2>/dev/null && openssl ts -reply -config " + config +
         " -section tsa_config -queryfile request.tsq" + signer(authority) +
         " -token_out -out token.tst 2>/dev/null");
      expectVerified("-in response.tsr -queryfile request.tsq" + ca);
      expectVerified("-in response.tsr -data data.txt" + ca);
      expectVerified("-in token.tst -token_in -data data.txt" + ca);
    }
  }
}

TEST_F(Commands, TokensOfRealAuthoritiesVerifyAtTheirTime) {
  // FreeTSA's certificate ran out in 2026: fine at the token's time, not now.
  const zttsp_test::Vector& response =
      zttsp_test::vector("resp-freetsa-sha256-nononce-micros-certs.tsr");
  const std::string freeTsa = "-in " + vectorPath(response.file) + " -queryfile " +
                              vectorPath(response.request) + " -CAfile " +
                              vectorPath("cert-freetsa-chain.pem");
  expectVerified(freeTsa);
  EXPECT_TRUE(contains(expectFailed(freeTsa + " -now", {"certificate chain"}), "has expired"));

  // A bare token without certificates: the signer is found among the trusted ones.
  sh("printf 'This is a test.\\n' > test.txt");
  expectVerified("-in " + vectorPath("tst-freetsa-sha384-micros-ordering-nocerts.der") +
                 " -token_in -data test.txt -CAfile " + vectorPath("cert-freetsa-chain.pem"));
  // ESS v1 over SHA-1 from DigiCert, whose imprint we only know by its token.
  const std::string digicert = vectorPath("resp-digicert-sha1-rsasha1-certs.tsr");
  const std::string json = tool("inspect --json " + digicert).output;
  const std::size_t at = json.find("\"hashedMessage\": \"") + 18;
  expectVerified("-in " + digicert + " -digest " + json.substr(at, 40) + " -CAfile " +
                 vectorPath("cert-digicert-assured-id-root-ca.pem"));
  // A signature altered by its fixture's author; the digest is wrong too, and both are named.
  expectFailed("-in " + vectorPath("resp-sigstage-ecdsa-invalid-signature.tsr") + " -digest " +
                   std::string(96, '0') + " -CAfile " + vectorPath("cert-sigstage-tsa-chain.pem"),
               {"imprint", "signature"});
}

TEST_F(Commands, RepliesVerifyWithOpenssl) {
  sh("printf 'stamped by zttsp\\n' > data.txt");
  const std::string ca = " -CAfile " + pkiFile("ca.pem");
  const struct {
    std::string query;
    std::string reply;
    std::string shows;  // in openssl ts -reply -text
  } cases[] = {
      {"-sha256 -cert", signer() + " -ess v2", "Ordering: no"},
      {"-sha1 -cert", signer() + " -ess v1 -ordering", "Ordering: yes"},
      {"-sha512 -cert", signer("ec") + " -ess both -tsa_name", "TSA: DirName:"},
      {"-sha384 -cert -policy 1.3.6.1.4.1.99999.7.2",
       signer() + " -policy 1.3.6.1.4.1.99999.7.2 -accuracy 1,500,100",
       "Accuracy: 0x01 seconds, 0x01F4 millis, 0x64 micros"},
      // Without -cert the token carries no certificate; openssl is given the signer's.
      {"-sha256 -no_nonce", signer() + " -chain " + pkiFile("ca.pem"), "Nonce: unspecified"},
  };
  std::set<std::string> serials;
  for (const auto& c : cases) {
    SCOPED_TRACE(c.query + c.reply);
    ASSERT_EQ(0, tool("query -data data.txt " + c.query + " -out request.tsq").status);
    const auto replied = tool("reply -queryfile request.tsq" + c.reply + " -out response.tsr");
    ASSERT_EQ(0, replied.status) << replied.output;
    const std::string untrusted =
        contains(c.query, "-cert") ? "" : " -untrusted " + pkiFile("rsa.pem");
    EXPECT_TRUE(contains(
        sh("openssl ts -verify -in response.tsr -queryfile request.tsq" + ca + untrusted + " 2>&1"),
        "Verification: OK"));
    const std::string text = sh("openssl ts -reply -in response.tsr -text 2>/dev/null");
    EXPECT_TRUE(contains(text, c.shows)) << text;
    // 20 bytes, positive, and new every time.
    std::smatch serial;
    EXPECT_TRUE(std::regex_search(text, serial, std::regex("Serial number: 0x[1-7][0-9A-F]{39}\n")))
        << text;
    EXPECT_TRUE(serials.insert(serial.str()).second) << text;
  }
  // The token alone, as openssl ts -reply -token_out writes it.
  ASSERT_EQ(0, tool("query -digest " + std::string(64, 'a') + " -cert -out request.tsq").status);
  ASSERT_EQ(0,
            tool("reply -queryfile request.tsq" + signer() + " -token_out -out token.tst").status);
  EXPECT_TRUE(contains(
      sh("openssl ts -verify -in token.tst -token_in -queryfile request.tsq" + ca + " 2>&1"),
      "Verification: OK"));
}

TEST_F(Commands, ReplyRefusesWithTheRightFailureInfo) {
  sh("openssl ts -query -data stamped.txt -md5 -out md5.tsq");
  ASSERT_EQ(0, tool("query -data stamped.txt -policy 1.2.3.9 -out policy.tsq").status);
  // SHA-256 named, 20 bytes given: no client of ours would make it.
  using namespace Zanthorel;
  const PKI::TSP::CRequest shortDigest(
      ASN1::CAlgorithmIdentifierEx("2.16.840.1.101.3.4.2.1", zttsp_test::fromHex("0500")),
      CBlob(20), false);
  zttsp_test::writeFile(dir_.path("short.tsq"), shortDigest.encode());

  const struct {
    const char* query;
    const char* failure;  // as openssl ts -reply -text names it
    const char* says;     // our status text
  } refusals[] = {
      {"md5.tsq", "unrecognized or unsupported algorithm identifier", "(md5) is not supported"},
      {"policy.tsq", "the requested TSA policy is not supported", "policy 1.2.3.9"},
      {"short.tsq", "the data submitted has the wrong format",
       "sha256 imprint is 32 bytes, not 20"},
  };
  for (const auto& refusal : refusals) {
    SCOPED_TRACE(refusal.query);
    const auto replied =
        tool(std::string("reply -queryfile ") + refusal.query + signer() + " -out refused.tsr");
    EXPECT_EQ(0, replied.status) << replied.output;
    EXPECT_TRUE(contains(replied.output, "the request is refused")) << replied.output;
    const std::string text = sh("openssl ts -reply -in refused.tsr -text 2>/dev/null");
    EXPECT_TRUE(contains(text, "Status: Rejected.")) << text;
    EXPECT_TRUE(contains(text, refusal.failure)) << text;
    EXPECT_TRUE(contains(text, refusal.says)) << text;
    // There is no token to write, and verify says why.
    EXPECT_EQ(1, tool(std::string("reply -queryfile ") + refusal.query + signer() +
                      " -token_out -out token.tst")
                     .status);
    expectFailed("-in refused.tsr -data stamped.txt", {"status"});
  }
}

TEST_F(Commands, VerifyNamesEveryFailedCheck) {
  sh("printf 'the real data\\n' > data.txt && printf 'other data\\n' > other.txt && "
     "openssl req -x509 -newkey rsa:2048 -nodes -subj '/CN=Stranger CA' -days 2 -keyout "
     "stranger.key -out stranger.pem 2>/dev/null");
  ASSERT_EQ(0, tool("query -data data.txt -cert -out request.tsq").status);
  ASSERT_EQ(0, tool("query -data data.txt -cert -out again.tsq").status);
  ASSERT_EQ(0, tool("query -data data.txt -no_nonce -policy 1.2.3.4 -out policy.tsq").status);
  ASSERT_EQ(0, tool("query -data data.txt -no_nonce -out nocert.tsq").status);
  ASSERT_EQ(0, tool("reply -queryfile request.tsq" + signer() + " -out response.tsr").status);
  ASSERT_EQ(0, tool("reply -queryfile nocert.tsq" + signer() + " -out nocert.tsr").status);
  const std::string ca = " -CAfile " + pkiFile("ca.pem");
  expectVerified("-in response.tsr -queryfile request.tsq" + ca);

  expectFailed("-in response.tsr -data other.txt" + ca, {"imprint"});
  expectFailed("-in response.tsr -queryfile again.tsq" + ca, {"nonce"});
  expectFailed("-in response.tsr -queryfile policy.tsq" + ca, {"policy"});
  expectFailed("-in response.tsr -data data.txt -CAfile stranger.pem", {"certificate chain"});
  expectFailed("-in nocert.tsr -data data.txt" + ca, {"signer"});
  expectVerified("-in nocert.tsr -data data.txt -untrusted " + pkiFile("rsa.pem") + ca);
  // The last byte of the response is the signature's.
  sh("head -c -1 response.tsr > tampered.tsr && tail -c 1 response.tsr | tr '\\000-\\377' "
     "'\\001-\\377\\000' >> tampered.tsr");
  expectFailed("-in tampered.tsr -data data.txt" + ca, {"signature"});
  // Every failure at once.
  expectFailed("-in response.tsr -queryfile policy.tsq -CAfile stranger.pem",
               {"policy", "certificate chain"});
  expectFailed("-in request.tsq -data data.txt" + ca, {"response"});
}

TEST_F(Commands, InspectReadsEveryKindOfMessageInEveryForm) {
  // Every vector of the table as its kind (in JSON, which must stay JSON whatever the names in
  // it), or refused when it is no time-stamp message.
  using K = zttsp_test::VectorKind;
  const std::map<K, const char*> kinds = {{K::request, "RFC 3161 time-stamp request"},
                                          {K::response, "RFC 3161 time-stamp response"},
                                          {K::token, "RFC 3161 time-stamp token"},
                                          {K::msRequest, "Authenticode time-stamp request"},
                                          {K::msStamp, "Authenticode time stamp"}};
  for (const zttsp_test::Vector& v : zttsp_test::vectors()) {
    SCOPED_TRACE(v.file);
    const auto json = tool("inspect --json " + vectorPath(v.file));
    const auto kind = kinds.find(v.kind);
    if (kind == kinds.end()) {
      EXPECT_EQ(1, json.status) << json.output;
      EXPECT_TRUE(contains(json.output, "not a time-stamp message")) << json.output;
      continue;
    }
    EXPECT_EQ(0, json.status) << json.output;
    EXPECT_EQ('{', json.output.front());
    EXPECT_TRUE(contains(json.output, std::string("\"type\": \"") + kind->second)) << json.output;
  }

  // The same token as DER, PEM and one-line base64, its fields checked against openssl.
  const std::string token = vectorPath("tst-freetsa-sha384-micros-ordering-nocerts.der");
  sh("cp " + token +
     " token.der && openssl base64 -A -in token.der -out token.b64 && "
     "(echo '-----BEGIN TIMESTAMP TOKEN-----'; openssl base64 -in token.der; "
     "echo '-----END TIMESTAMP TOKEN-----') > token.pem");
  const std::string imprint =
      sh("printf 'This is a test.\\n' | openssl dgst -sha384 -r | cut -d' ' -f1");
  for (const char* form : {"token.der", "token.pem", "token.b64"}) {
    SCOPED_TRACE(form);
    const std::string text = tool(std::string("inspect ") + form).output;
    EXPECT_TRUE(contains(text, "hashedMessage: " + imprint.substr(0, 96))) << text;
    EXPECT_TRUE(contains(text, "genTime: 2017-12-18T17:34:16.800812Z")) << text;
    EXPECT_TRUE(contains(text, "2.16.840.1.101.3.4.2.2 (sha384)")) << text;
  }
  const std::string rejection =
      tool("inspect " + vectorPath("resp-rejection-badalg-statustext.tsr")).output;
  EXPECT_TRUE(contains(rejection, "failInfo: badAlg")) << rejection;

  sh("printf 'no message here' > garbage && printf '\\060\\003\\002\\001' > truncated");
  for (const char* file : {"garbage", "truncated"}) {
    const auto refused = tool(std::string("inspect ") + file);
    EXPECT_EQ(1, refused.status) << refused.output;
    EXPECT_TRUE(contains(refused.output, "zttsp: ")) << file << ": " << refused.output;
  }
}

TEST_F(Commands, CommandLineMistakesGetClearMessages) {
  sh("printf 'x' > data.txt");
  const struct {
    std::string arguments;
    int status;
    const char* says;
  } mistakes[] = {
      {"", 2, "usage: zttsp COMMAND"},
      {"sign", 2, "unknown command sign"},
      {"query -data data.txt -md5", 2, "unknown option -md5"},
      {"query -data", 2, "-data needs a value"},
      {"query -out x.tsq", 2, "give -data or -digest"},
      {"query -digest 0011 -sha1", 2, "-digest has 2 bytes; a sha1 digest has 20"},
      {"query -data data.txt -policy sha256", 2, "takes an object identifier"},
      {"query -data missing.txt", 1, "cannot read missing.txt"},
      {"reply -queryfile data.txt" + signer() + " -accuracy 1,1000", 2, "-accuracy takes"},
      {"reply -queryfile data.txt -signer " + pkiFile("rsa.pem") + " -inkey " + pkiFile("ec.key"),
       1, "does not belong to the certificate"},
      {"reply -queryfile data.txt -signer data.txt -inkey " + pkiFile("rsa.key"), 1,
       "holds no certificate"},
      {"verify -in data.txt -data data.txt -queryfile data.txt", 2,
       "give either -data or -queryfile"},
      {"verify -in data.txt -queryfile data.txt", 1,
       "data.txt holds no DER, PEM or base64 message"},
      {"verify -in data.txt -queryfile " + vectorPath("resp-rejection-unaccepted-policy.tsr"), 1,
       "holds no TimeStampReq"},
      {"inspect", 2, "name the file to inspect"},
      {"inspect a b", 2, "unexpected argument b"},
      {"serve -port 70000", 2, "-port takes a whole number from 0 to 65535, not 70000"},
      {"serve -port 0 -bind nowhere -data d", 2, "-bind takes an IPv4 or IPv6 address"},
  };
  for (const auto& mistake : mistakes) {
    SCOPED_TRACE(mistake.arguments);
    const auto result = tool(mistake.arguments);
    EXPECT_EQ(mistake.status, result.status) << result.output;
    EXPECT_TRUE(contains(result.output, mistake.says)) << result.output;
  }
  const auto help = tool("reply -help");
  EXPECT_EQ(0, help.status);
  EXPECT_TRUE(contains(help.output, "-ess v1|v2|both")) << help.output;
}

}  // namespace
