// Keys that never leave a PKCS #11 module: a SoftHSM2 token made for the suite in a temporary
// folder (make_token.sh: softhsm2-util, pkcs11-tool), its RSA-2048 and P-256 keys generated inside
// it, used by zttsp reply and serve, checked with openssl ts and osslsigncode.
#include <stdlib.h>

#include <algorithm>
#include <memory>

#include "tests/support/test_support.h"
#include "tests/tools/tool_process.h"

namespace {

using tool_test::contains;
using tool_test::occurrences;
using tool_test::Server;
using tool_test::zttsp;
using zttsp_test::TempDir;

const std::string kModule = "/usr/lib/softhsm/libsofthsm2.so";

class Token : public tool_test::InFolder {
 protected:
  static void SetUpTestSuite() {
    token_ = std::make_unique<TempDir>();
    zttsp_test::runIn(token_->path(), "'" ZTTSP_TOOL_TESTS "/make_token.sh' .");
    setenv("SOFTHSM2_CONF", token_->path("softhsm2.conf").c_str(), 1);
  }
  static void TearDownTestSuite() {
    unsetenv("SOFTHSM2_CONF");
    token_.reset();
  }

  static std::string token(const std::string& name) { return token_->path(name); }
  // The certificate of the rsa or ec key, and a key in the token: "pkcs11:token=zttsp;" + `uri`.
  static std::string signer(const std::string& certificate, const std::string& uri) {
    return " -signer " + token(certificate + ".pem") + " -chain " + token("ca.pem") +
           " -inkey 'pkcs11:token=zttsp;" + uri + "'";
  }
  static std::unique_ptr<TempDir> token_;
};

std::unique_ptr<TempDir> Token::token_;

TEST_F(Token, ServesTokensAndStampsSignedInTheModule) {
  sh("printf 'stamp me\\n' > data.txt && openssl ts -query -data data.txt -cert -out request.tsq "
     "2>/dev/null && openssl req -x509 -newkey rsa:2048 -nodes -subj '/CN=Code signer' -days 2 "
     "-keyout code.key -out code.pem 2>/dev/null");
  const std::string verify = "openssl ts -verify -queryfile request.tsq -CAfile " + token("ca.pem");
  for (const std::string key : {"rsa", "ec"}) {
    SCOPED_TRACE(key);
    // Server splits its arguments at spaces and runs no shell: the URI goes as it is.
    std::string arguments =
        signer(key, "object=" + key + "?pin-value=1234") + " -pkcs11_module " + kModule;
    arguments.erase(std::remove(arguments.begin(), arguments.end(), '\''), arguments.end());
    Server server(dir_.path("unused"), arguments);
    EXPECT_TRUE(contains(server.log(),
                         "key pkcs11:token=zttsp;object=" + key + "?pin-value=*** in " + kModule))
        << server.log();
    // Eight clients at once, all signed by the module.
    const std::string statuses = sh(
        "for i in $(seq 8); do curl -s --max-time 20 -H 'Content-Type: "
        "application/timestamp-query' --data-binary @request.tsq -o r$i.tsr -w '%{http_code}\\n' " +
        server.url() + " & done; wait; for i in $(seq 8); do " + verify +
        " -in r$i.tsr 2>&1; done");
    EXPECT_EQ(8u, occurrences(statuses, "200")) << statuses;
    EXPECT_EQ(8u, occurrences(statuses, "Verification: OK")) << statuses;
    sh("osslsigncode sign -certs code.pem -key code.key -ts " + server.url() + " -in '" +
       zttsp_test::dataPath("tools/tiny.exe") + "' -out signed-" + key + ".exe");
    const std::string verified =
        sh("osslsigncode verify -in signed-" + key + ".exe -CAfile code.pem -TSA-CAfile " +
           token("ca.pem") + " 2>&1");
    EXPECT_TRUE(contains(verified, "Timestamp Server Signature verification: ok")) << verified;
    EXPECT_EQ(0, server.stop(SIGTERM)) << server.log();
  }
}

TEST_F(Token, ReplyFindsThePinWhereverItIsGiven) {
  sh("printf '1234\\n' > pin.txt && printf 'x' > data.txt && openssl ts -query -data data.txt "
     "-cert -out request.tsq 2>/dev/null");
  const std::string reply = "reply -queryfile request.tsq -out response.tsr";
  const std::string module = " -pkcs11_module " + kModule;
  const std::string granted[] = {
      signer("rsa", "object=rsa?pin-value=1234&module-path=" + kModule),
      signer("ec", "object=ec;type=private?pin-source=file://" + dir_.path("pin.txt")) + module,
      signer("rsa", "object=rsa") + " -passin pass:1234" + module,
      signer("ec", "id=%02") + " -passin file:pin.txt" + module,
  };
  for (const std::string& identity : granted) {
    SCOPED_TRACE(identity);
    const auto replied = tool(reply + " " + identity);
    EXPECT_EQ(0, replied.status) << replied.output;
    EXPECT_TRUE(contains(sh("openssl ts -verify -in response.tsr -queryfile request.tsq "
                            "-CAfile " +
                            token("ca.pem") + " 2>&1"),
                         "Verification: OK"));
  }
  const struct {
    std::string identity;
    const char* says;
  } refused[] = {
      {signer("rsa", "object=rsa?pin-value=9999") + module, "wrong PIN for the token zttsp"},
      {signer("rsa", "object=rsa") + module, "the token zttsp needs a PIN: give pin-value or"},
      {signer("rsa", "object=rsa?pin-value=1234"),
       "no PKCS #11 module for pkcs11:token=zttsp;object=rsa?pin-value=***: give -pkcs11_module"},
      {signer("rsa", "object=dsa?pin-value=1234") + module,
       "holds no private key that fits pkcs11:token=zttsp;object=dsa?pin-value=*** (its private "
       "keys: "},
      {signer("rsa", "object=ec?pin-value=1234") + module, "does not belong to the certificate"},
      {signer("rsa", "colour=blue") + module, "has an attribute zttsp does not know: colour"},
      {signer("rsa", "object=rsa") + " -pkcs11_module /etc/hostname",
       "cannot load the PKCS #11 module /etc/hostname"},
  };
  for (const auto& refusal : refused) {
    SCOPED_TRACE(refusal.identity);
    const auto replied = tool("reply -queryfile request.tsq -out refused.tsr " + refusal.identity);
    EXPECT_EQ(1, replied.status) << replied.output;
    EXPECT_TRUE(contains(replied.output, refusal.says)) << replied.output;
  }
  sh("test ! -e refused.tsr");
}

}  // namespace
