// The authority's identity and configuration as operators give them to zttsp reply and serve:
// unfit signer certificates refused before anything is written, encrypted keys, TOML files, what
// requests are accepted. The certificates come from make_signers.sh, made once with openssl.
#include <signal.h>
#include <stdlib.h>
#include <sys/stat.h>

#include <chrono>
#include <cstdio>
#include <memory>
#include <thread>

#include "rfc3161/request.h"
#include "tests/support/test_support.h"
#include "tests/tools/tool_process.h"
#include "tools/listening_socket.h"

namespace {

using tool_test::contains;
using tool_test::zttsp;
using zttsp_test::CommandResult;
using zttsp_test::TempDir;

class Identity : public tool_test::InFolder {
 protected:
  static void SetUpTestSuite() {
    signers_ = std::make_unique<TempDir>();
    zttsp_test::runIn(signers_->path(), "'" ZTTSP_TOOL_TESTS "/make_signers.sh' .");
  }
  static void TearDownTestSuite() { signers_.reset(); }

  static std::string signers(const std::string& name) { return signers_->path(name); }
  // -signer NAME.pem with its key and chain, and the request to answer.
  static std::string identity(const std::string& name, const std::string& chain = "ca") {
    return " -signer " + signers(name + ".pem") + " -inkey " + signers("signer.key") + " -chain " +
           signers(chain + ".pem");
  }
  static std::string reply(const std::string& more) {
    return "reply -queryfile " + signers("request.tsq") + " -out response.tsr" + more;
  }
  // What `command` says, expected to fail with `status` and to say `says`.
  void expectRefused(const std::string& command, const std::string& says, int status = 1) {
    const CommandResult result = tool(command);
    EXPECT_EQ(status, result.status) << command << "\n" << result.output;
    EXPECT_TRUE(contains(result.output, says)) << command << "\n" << result.output;
  }

  static std::unique_ptr<TempDir> signers_;
};

std::unique_ptr<TempDir> Identity::signers_;

TEST_F(Identity, UnfitSignersAreRefusedBeforeAnythingIsWritten) {
  const struct {
    const char* certificate;
    const char* chain;
    const char* says;
  } unfit[] = {
      {"no-eku", "ca", "it has no extendedKeyUsage"},
      {"noncritical", "ca", "its extendedKeyUsage is not critical"},
      {"codesigning", "ca", "its extendedKeyUsage holds codeSigning;"},
      {"two-purposes", "ca", "holds codeSigning beside timeStamping"},
      {"ca-certificate", "ca", "it is a CA certificate"},
      {"key-encipherment", "ca", "allows neither digitalSignature nor nonRepudiation"},
      {"expired", "ca", "it expired on 2021-01-01T00:00:00Z"},
      {"not-yet-valid", "ca", "it is not valid before"},
      {"good", "other-ca", "not the signer's issuing chain: it holds CN=Other CA, which did not"},
  };
  for (const auto& signer : unfit) {
    SCOPED_TRACE(signer.certificate);
    expectRefused(reply(identity(signer.certificate, signer.chain)), signer.says);
    expectRefused("serve -port 0 -data data" + identity(signer.certificate, signer.chain),
                  signer.says);
    EXPECT_EQ("", sh("ls -A"));
  }
  // The fit ones sign; one that runs out soon says so, unless told to look less far ahead.
  const CommandResult good = tool(reply(identity("good")));
  EXPECT_EQ(0, good.status) << good.output;
  EXPECT_FALSE(contains(good.output, "warning")) << good.output;
  const CommandResult expiring = tool(reply(identity("expiring")));
  EXPECT_EQ(0, expiring.status) << expiring.output;
  EXPECT_TRUE(contains(expiring.output, "warning: the signer certificate " +
                                            signers("expiring.pem") + " expires on"))
      << expiring.output;
  EXPECT_FALSE(contains(tool(reply(identity("expiring") + " -expiry_warning 5")).output, "warn"));
}

TEST_F(Identity, EncryptedKeysOpenWithEveryPassinForm) {
  sh("openssl pkey -in " + signers("signer.key") +
     " -aes256 -passout pass:secret -out pkcs8.pem && openssl ec -in " + signers("signer.key") +
     " -aes256 -passout pass:secret -out traditional.pem 2>/dev/null && openssl pkcs8 -topk8 -in " +
     signers("signer.key") + " -v2 aes256 -passout pass:secret -outform DER -out pkcs8.der && " +
     "echo secret > password.txt");
  setenv("ZTTSP_TEST_PASSWORD", "secret", 1);
  const std::string signer = " -signer " + signers("good.pem") + " -inkey ";
  const std::string keys[] = {"pkcs8.pem", "traditional.pem", "pkcs8.der"};
  const std::string forms[] = {"pass:secret", "env:ZTTSP_TEST_PASSWORD", "file:password.txt",
                               "fd:3 3<password.txt", "stdin <password.txt"};
  // Every form, and every kind of key file.
  for (std::size_t i = 0; i < std::size(forms); ++i) {
    const std::string& key = keys[i % std::size(keys)];
    SCOPED_TRACE(key + " " + forms[i]);
    const CommandResult replied = tool(reply(signer + key + " -passin " + forms[i]));
    EXPECT_EQ(0, replied.status) << replied.output;
  }
  for (const std::string& key : keys) {
    expectRefused(reply(signer + key + " -passin pass:wrong"),
                  "cannot decrypt the key in " + key + ": wrong password (-passin)");
    expectRefused(reply(signer + key), "the key in " + key + " is encrypted: give its password");
  }
  unsetenv("ZTTSP_TEST_PASSWORD");
  expectRefused(reply(signer + "pkcs8.pem -passin secret"),
                "-passin takes pass:TEXT, env:VARIABLE, file:PATH, fd:NUMBER or stdin (a password "
                "goes after pass:)",
                2);
  expectRefused(reply(signer + "pkcs8.pem -passin env:ZTTSP_TEST_PASSWORD"),
                "-passin: the environment has no variable ZTTSP_TEST_PASSWORD");
}

TEST_F(Identity, ConfigurationFilesHoldEveryOptionAndTheCommandLineWins) {
  zttsp_test::writeText(dir_.path("zttsp.toml"),
                        "# an authority\nsigner = \"" + signers("good.pem") + "\"\ninkey = \"" +
                            signers("signer.key") + "\"\npolicy = \"1.2.3.4.1\"\n" +
                            "policies = [\"1.2.3.4.2\"]\naccuracy = [1, 500]\nordering = true\n" +
                            "port = 0  # serve's, left out by reply\n");
  sh("openssl ts -query -data zttsp.toml -tspolicy 1.2.3.4.2 -out policy.tsq 2>/dev/null");
  const std::string query = "reply -config zttsp.toml -queryfile policy.tsq -out response.tsr";
  const auto text = [this] { return sh("openssl ts -reply -in response.tsr -text 2>&1"); };
  ASSERT_EQ(0, tool(query).status);
  for (const char* shows : {"Policy OID: 1.2.3.4.2", "0x01F4 millis", "Ordering: yes"})
    EXPECT_TRUE(contains(text(), shows)) << text();
  ASSERT_EQ(0, tool(query + " -accuracy 2 -policies 1.2.3.4.3").status);
  EXPECT_TRUE(contains(text(), "the requested TSA policy is not supported")) << text();
  EXPECT_TRUE(contains(text(), "policy 1.2.3.4.2 is not accepted (1.2.3.4.1, 1.2.3.4.3)"));

  // The example of docs/ reads, given an identity of the tests.
  const CommandResult example =
      tool(reply(identity("good") + " -passin pass:unused -config '" ZTTSP_TOOL_TESTS
                                    "/../../docs/zttsp.toml'"));
  EXPECT_EQ(0, example.status) << example.output;

  // Every fault names the file, the line and the key; serve writes nothing for them.
  const struct {
    const char* file;
    const char* says;
  } faults[] = {
      {"colour = \"blue\"\n", "bad.toml:1: unknown key colour"},
      {"# the accuracy\n\naccuracy = \"1,1000\"\n",
       "bad.toml:3: accuracy takes SECONDS[,MILLIS[,MICROS]]: whole numbers, millis and micros "
       "from 0 to 999, not all zero"},
      {"ordering = \"yes\"\n", "bad.toml:1: ordering takes true or false"},
      {"port = 1.5\n", "bad.toml:1: port takes a string, a whole number or a list of them"},
      {"port = 65536\n", "bad.toml:1: port takes a whole number from 0 to 65535, not 65536"},
      {"bind = \"nowhere\"\n", "bad.toml:1: bind takes an IPv4 or IPv6 address"},
      {"digests = [\"sha256\", \"md5\"]\n", "bad.toml:1: digests takes names among sha1,"},
      {"policy =\n", "bad.toml:1: "},
  };
  for (const auto& fault : faults) {
    zttsp_test::writeText(dir_.path("bad.toml"), fault.file);
    expectRefused("serve -config bad.toml -data data", fault.says);
    sh("test ! -e data");
  }
}

TEST_F(Identity, RequestsAreHeldToWhatTheAuthorityAccepts) {
  sh("openssl ts -query -data " + signers("ca.cnf") + " -sha1 -out sha1.tsq");
  ASSERT_EQ(0, tool("reply -queryfile sha1.tsq -out response.tsr -digests sha256,sha512" +
                    identity("good"))
                   .status);
  EXPECT_TRUE(contains(sh("openssl ts -reply -in response.tsr -text 2>&1"),
                       "hash algorithm sha1 is not accepted here (sha256, sha512)"));
  // Nonces of up to 32 bytes, a leading zero octet aside; BER read, and said to be.
  using namespace Zanthorel;
  for (const std::uint32_t bytes : {32u, 33u}) {
    PKI::TSP::CRequest request(ASN1::CAlgorithmIdentifierEx("2.16.840.1.101.3.4.2.1", CBlob()),
                               CBlob(32), false);
    const ASN1::CBigInteger nonce =
        ASN1::CBigInteger::fromUnsigned(std::string(bytes, '\xff').data(), bytes);
    request.put_nonce(&nonce);
    zttsp_test::writeFile(dir_.path("nonce.tsq"), request.encode());
    ASSERT_EQ(0, tool("reply -queryfile nonce.tsq -out response.tsr" + identity("good")).status);
    EXPECT_EQ(bytes > 32, contains(sh("openssl ts -reply -in response.tsr -text 2>&1"),
                                   "the nonce is 33 bytes long; nonces of up to 32 bytes"));
  }
  sh("(printf '\\060\\201'; tail -c +2 " + signers("request.tsq") + ") > ber.tsq");
  const CommandResult ber = tool("reply -queryfile ber.tsq -out response.tsr" + identity("good"));
  EXPECT_TRUE(contains(ber.output, "the request is BER, not DER; answered all the same"));
  EXPECT_TRUE(contains(sh("openssl ts -reply -in response.tsr -text"), "Status: Granted."));
}

TEST_F(Identity, TheSmallThingsOperatorsMeet) {
  EXPECT_TRUE(contains(tool("-version").output, "zttsp 0.1.0 (OpenSSL 3."));
  expectRefused(reply(" -signer " + signers("good.pem") + " -inkey " + signers("good.pem")),
                "good.pem holds a certificate, not a private key");
  expectRefused(reply(identity("good") + " -accuracy 0"),
                "-accuracy takes SECONDS[,MILLIS[,MICROS]]", 2);
  // A data folder with part of a development identity is left as it is.
  sh("mkdir part && echo kept > part/ca.pem");
  expectRefused("serve -port 0 -data part",
                "the data folder part holds part of a development identity (part/ca.pem but not "
                "part/tsa.pem, part/tsa.key)");
  EXPECT_EQ("ca.pem\nkept\n", sh("ls part && cat part/ca.pem"));
  // The address is taken before the identity is made.
  expectRefused("serve -port 0 -bind 192.0.2.1 -data new", "cannot listen on 192.0.2.1 port 0");
  EXPECT_EQ("part\n", sh("ls"));
  // A key found after other blocks, as in a file holding the certificate too.
  sh("cat " + signers("good.pem") + " " + signers("signer.key") + " > both.pem");
  EXPECT_EQ(0, tool(reply(" -signer both.pem -inkey both.pem")).status);

  // The folder is the owner's alone, whatever the umask; and IPv6 is served where there is one.
  const mode_t umaskBefore = umask(0);
  std::string address = "::1";
  try {
    Zanthorel::Tools::ListeningSocket probe("::1", 0);
  } catch (const std::exception&) {
    address = "127.0.0.1";  // no IPv6 on this machine
  }
  tool_test::Server server(dir_.path("made"), "-bind " + address);
  umask(umaskBefore);
  EXPECT_EQ("700\n", sh("stat -c %a made"));
  EXPECT_TRUE(contains(server.url(), address == "::1" ? "http://[::1]:" : "http://127.0.0.1:"));
  EXPECT_EQ("200 application/timestamp-reply",
            tool_test::curlPost(server, "application/timestamp-query", signers("request.tsq"),
                                dir_.path("response.tsr")));
}

// wrk posts the request for SECONDS over 8 connections and prints "RESULT granted other errors":
// `other` counts answers that are no granted TimeStampResp.
const char kCountingScript[] = R"(wrk.method = "POST"
wrk.headers["Content-Type"] = "application/timestamp-query"
wrk.body = io.open("request.tsq", "rb"):read("*a")
local threads = {}
function setup(thread) table.insert(threads, thread) end
function init() granted = 0; other = 0 end
-- SEQUENCE (two length octets) { SEQUENCE { INTEGER 0 } ...: status granted
function response(status, headers, body)
  local b = { body:byte(1, 9) }
  if status == 200 and b[1] == 0x30 and b[2] == 0x82 and b[5] == 0x30 and b[6] == 3 and
     b[7] == 2 and b[8] == 1 and b[9] == 0 then granted = granted + 1 else other = other + 1 end
end
function done(summary)
  local g, o = 0, 0
  for _, t in ipairs(threads) do g = g + t:get("granted"); o = o + t:get("other") end
  local e = summary.errors
  io.write(string.format("RESULT %d %d %d\n", g, o, e.connect + e.read + e.write + e.timeout))
end
)";

TEST_F(Identity, SighupUnderLoadSwapsTheIdentityAndNoRequestFails) {
  const auto configure = [this](const std::string& signer) {
    zttsp_test::writeText(dir_.path("zttsp.toml"), "signer = \"" + signers(signer + ".pem") +
                                                       "\"\ninkey = \"" + signers("signer.key") +
                                                       "\"\nchain = \"" + signers("ca.pem") +
                                                       "\"\n");
  };
  configure("good");
  sh("cp " + signers("request.tsq") + " request.tsq");
  zttsp_test::writeText(dir_.path("count.lua"), kCountingScript);
  tool_test::Server server(dir_.path("unused"), "-config " + dir_.path("zttsp.toml"));
  const auto signerNow = [&] {
    tool_test::curlPost(server, "application/timestamp-query", dir_.path("request.tsq"),
                        dir_.path("response.tsr"));
    return sh("openssl ts -verify -in response.tsr -queryfile request.tsq -CAfile " +
              signers("ca.pem") + " 2>&1; " ZTTSP_TOOL " inspect response.tsr | grep -m1 subject");
  };
  std::string load;
  std::thread wrk([&] {
    load = zttsp_test::runIn(dir_.path(), "wrk -t2 -c8 -d4s --timeout 5s -s count.lua " +
                                              server.url() + " | grep RESULT");
  });
  std::this_thread::sleep_for(std::chrono::seconds(1));
  configure("second");
  server.signal(SIGHUP);
  EXPECT_TRUE(server.logs("reloaded"));
  EXPECT_TRUE(contains(signerNow(), "CN=Second TSA")) << signerNow();
  configure("no-eku");
  server.signal(SIGHUP);
  EXPECT_TRUE(server.logs("reload refused, still signing as CN=Second TSA"));
  const std::string after = signerNow();
  EXPECT_TRUE(contains(after, "Verification: OK")) << after;
  EXPECT_TRUE(contains(after, "CN=Second TSA")) << after;
  wrk.join();
  unsigned granted = 0, other = 1, errors = 1;
  std::sscanf(load.c_str(), "RESULT %u %u %u", &granted, &other, &errors);
  EXPECT_GT(granted, 100u) << load;
  EXPECT_EQ(0u, other) << load;
  EXPECT_EQ(0u, errors) << load;
}

}  // namespace
