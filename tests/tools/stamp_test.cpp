// zttsp stamp against authorities on 127.0.0.1 only: zttsp serve, one backed by openssl ts -reply
// (tests/tools/local_authority.py), and hostile ones of the same script. Every .tsr it writes must
// pass openssl ts -verify.
#include <signal.h>
#include <unistd.h>

#include <chrono>
#include <memory>
#include <string>
#include <thread>

#include "tests/support/test_support.h"
#include "tests/support/tsa_fixture.h"
#include "tests/tools/tool_process.h"

namespace {

using tool_test::contains;
using tool_test::occurrences;
using tool_test::Server;
using tsa_test::pki;
using zttsp_test::CommandResult;
using zttsp_test::run;

// The script's authorities in the background for as long as the object lives; the script also ends
// by itself when the test program is gone, and after five minutes.
class LocalAuthorities {
 public:
  explicit LocalAuthorities(const std::string& options = "") {
    const CommandResult started = run(
        "python3 '" ZTTSP_TOOL_TESTS "/local_authority.py' --pki '" + pki().dir + "' --rejection " +
        zttsp_test::vectorPath("resp-rejection-badalg-statustext.tsr") + " --parent " +
        std::to_string(getpid()) + " " + options + " >'" + log_.path("log") + "' 2>&1 & echo $!");
    pid_ = std::stoi(started.output);
    for (int i = 0; i < 200 && port_.empty(); ++i) {
      const std::string text = log();
      const std::size_t at = text.find("listening on ");
      if (at != std::string::npos) port_ = text.substr(at + 13, text.find('\n', at) - at - 13);
      std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
    if (port_.empty()) throw std::runtime_error("local_authority.py did not start: " + log());
  }
  ~LocalAuthorities() { kill(pid_, SIGTERM); }
  // The URL of the authority of that kind: "reply", "html", ...
  std::string url(const std::string& kind, const std::string& scheme = "http") const {
    return scheme + "://127.0.0.1:" + port_ + "/" + kind;
  }
  std::string log() const { return zttsp_test::readText(log_.path("log")); }
  std::size_t requests(const std::string& kind) const {
    return occurrences(log(), "request POST /" + kind + "\n");
  }

 private:
  zttsp_test::TempDir log_;
  pid_t pid_ = -1;
  std::string port_;
};

class Stamp : public tool_test::InFolder {
 protected:
  // Files f1.txt ... fN.txt, each different, in the test's folder; their names.
  std::string makeFiles(int count, const std::string& prefix = "f") {
    std::string names;
    for (int i = 1; i <= count; ++i) {
      const std::string name = prefix + std::to_string(i) + ".txt";
      zttsp_test::writeText(dir_.path(name), "file " + std::to_string(i) + "\n");
      names += " " + name;
    }
    return names;
  }
  // openssl ts -verify of FILE.tsr (in `folder`) against each file of `names`.
  void expectOpensslVerifies(const std::string& names, const std::string& caFile,
                             const std::string& folder = ".") {
    const std::string verified = sh("for f in" + names + "; do openssl ts -verify -data $f -in " +
                                    folder + "/$f.tsr -CAfile '" + caFile + "' 2>&1; done");
    EXPECT_EQ(occurrences(names, " "), occurrences(verified, "Verification: OK")) << verified;
  }
  // zttsp with `environment` (NAME=VALUE ...) set.
  CommandResult toolWith(const std::string& environment, const std::string& arguments) const {
    return run("cd '" + dir_.path() + "' && " + environment + " '" ZTTSP_TOOL "' " + arguments);
  }
  static std::string pkiCa() { return pki().dir + "/ca.pem"; }
  // Only 127.0.0.1 is asked, whatever proxy the machine has.
  static void SetUpTestSuite() {
    for (const char* name : {"http_proxy", "https_proxy", "HTTPS_PROXY", "all_proxy", "ALL_PROXY"})
      unsetenv(name);
    authorities_ = std::make_unique<LocalAuthorities>();
  }
  static void TearDownTestSuite() { authorities_.reset(); }
  static const LocalAuthorities& authorities() { return *authorities_; }

 private:
  static std::unique_ptr<LocalAuthorities> authorities_;
};

std::unique_ptr<LocalAuthorities> Stamp::authorities_;

TEST_F(Stamp, FailsOverToTheSecondServerWhenTheFirstIsStopped) {
  Server first(dir_.path("first")), second(dir_.path("second"));
  sh("cat '" + first.caFile() + "' '" + second.caFile() + "' > both.pem");
  ASSERT_EQ(0, first.stop(SIGTERM));
  const std::string files = makeFiles(6);
  const CommandResult stamped = tool("stamp" + files + " -jobs 3 -retries 1 -backoff 10 -tsa " +
                                     first.url() + " -tsa " + second.url() + " -CAfile both.pem");
  EXPECT_EQ(0, stamped.status) << stamped.output;
  // Each line names the authority that stamped and the one that failed first, and why.
  EXPECT_EQ(6u, occurrences(stamped.output, ", " + second.url() + ", serial 0x")) << stamped.output;
  EXPECT_EQ(6u, occurrences(stamped.output, "(failover: " + first.url() + " after 2 tries: "))
      << stamped.output;
  EXPECT_TRUE(contains(stamped.output, "6 of 6 files stamped")) << stamped.output;
  // No bar: the output is no terminal.
  EXPECT_FALSE(contains(stamped.output, "\r")) << stamped.output;
  expectOpensslVerifies(files, second.caFile());
}

TEST_F(Stamp, ManyFilesInFlightAtOnceAndABarOnATerminal) {
  const Server server(dir_.path("identity"));
  const std::string files = makeFiles(24);
  const CommandResult stamped = tool("stamp" + files + " -jobs 8 -out proofs -tsa " + server.url() +
                                     " -CAfile " + server.caFile());
  EXPECT_EQ(0, stamped.status) << stamped.output;
  EXPECT_EQ(24u, occurrences(stamped.output, " -> proofs/f")) << stamped.output;
  expectOpensslVerifies(files, server.caFile(), "proofs");
  // Under script(1) standard error is a terminal: the bar is drawn and taken away again.
  const std::string terminal =
      sh("script -qec \"'" ZTTSP_TOOL "' stamp" + makeFiles(12, "t") + " -tsa " + server.url() +
         " -CAfile " + server.caFile() + "\" /dev/null");
  EXPECT_TRUE(contains(terminal, "[##############################] 12/12 files")) << terminal;
  EXPECT_TRUE(contains(terminal, "12 of 12 files stamped")) << terminal;
}

TEST_F(Stamp, AnOpensslBackedAuthorityOverHttpAndHttpsAndThroughAProxy) {
  const std::string files = makeFiles(3);
  const std::string trust = " -CAfile " + pkiCa() + " -policy " + tsa_test::Pki::kPolicy;
  const CommandResult stamped =
      tool("stamp" + files + " -sha512 -tsa " + authorities().url("reply") + trust);
  EXPECT_EQ(0, stamped.status) << stamped.output;
  expectOpensslVerifies(files, pkiCa());
  EXPECT_TRUE(contains(sh("openssl ts -reply -in f1.txt.tsr -text"), "Hash Algorithm: sha512"));
  // The proxy of the environment is asked for the authority's URL.
  const CommandResult proxied = toolWith("no_proxy= NO_PROXY= http_proxy=" + authorities().url(""),
                                         "stamp f1.txt -tsa http://tsa.invalid/reply" + trust);
  EXPECT_EQ(0, proxied.status) << proxied.output;
  EXPECT_TRUE(contains(authorities().log(), "request POST http://tsa.invalid/reply\n"));

  // HTTPS, against a certificate for 127.0.0.1 that only -tls_CAfile makes trusted.
  sh("openssl req -x509 -newkey ec -pkeyopt ec_paramgen_curve:P-256 -nodes -days 1 -subj "
     "'/CN=127.0.0.1' -addext subjectAltName=IP:127.0.0.1 -keyout tls.key -out tls.pem 2>&1");
  const LocalAuthorities tls("--tls " + dir_.path("tls.pem") + " " + dir_.path("tls.key"));
  sh("rm -f *.tsr");
  const CommandResult overTls =
      tool("stamp" + files + " -tls_CAfile tls.pem -tsa " + tls.url("reply", "https") + trust);
  EXPECT_EQ(0, overTls.status) << overTls.output;
  expectOpensslVerifies(files, pkiCa());
  const CommandResult untrusted = tool("stamp f1.txt -tsa " + tls.url("reply", "https") + trust);
  EXPECT_EQ(1, untrusted.status) << untrusted.output;
  EXPECT_TRUE(contains(untrusted.output, "SSL certificate problem")) << untrusted.output;
}

TEST_F(Stamp, HostileAuthoritiesGetOneClearLineAndTheNextAuthorityStamps) {
  const struct {
    const char* kind;
    const char* says;
    bool retried;  // a fault that may pass
  } cases[] = {
      {"html", "the answer is no TimeStampResp (text/html; charset=utf-8, 68 bytes: \"<html>",
       false},
      {"redirect", "HTTP 302, a redirect to http://127.0.0.1:9/elsewhere, which is not followed",
       false},
      {"other-nonce", "the time stamp fails the checks: nonce: the token's 0x", false},
      {"other-imprint", "fails the checks: imprint: the token stamps another digest", false},
      {"huge", "the answer is larger than 1024 KiB; the rest was not read", false},
      {"trickle", "after 2 tries: no whole answer within 2 s", true},
      {"unavailable", "after 2 tries: HTTP 503", true},
      {"closes", "after 2 tries: Empty reply from server", true},
      {"rejection", "not granted: rejection (badAlg)", false},
  };
  makeFiles(1);
  for (const auto& test : cases) {
    SCOPED_TRACE(test.kind);
    sh("rm -f f1.txt.tsr");
    const std::string hostile = authorities().url(test.kind);
    const auto start = std::chrono::steady_clock::now();
    const CommandResult stamped =
        tool("stamp f1.txt -timeout 2 -retries 1 -backoff 10 -tsa " + hostile + " -tsa " +
             authorities().url("reply") + " -CAfile " + pkiCa());
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(20));
    EXPECT_EQ(0, stamped.status) << stamped.output;
    EXPECT_TRUE(contains(stamped.output, "(failover: " + hostile)) << stamped.output;
    EXPECT_TRUE(contains(stamped.output, test.says)) << stamped.output;
    // One request only, unless the fault may pass (on a busy machine a retry may not get through).
    if (!test.retried) {
      EXPECT_EQ(1u, authorities().requests(test.kind)) << authorities().log();
    }
    expectOpensslVerifies(" f1.txt", pkiCa());
  }
  // Alone, hostile authorities leave no file, not even a temporary one.
  sh("rm -f f1.txt.tsr");
  const std::string html = authorities().url("html");
  const CommandResult failed = tool("stamp f1.txt missing.txt -tsa " + html +
                                    " -tsa http://127.0.0.1:1/ -retries 0 -CAfile " + pkiCa());
  EXPECT_EQ(1, failed.status) << failed.output;
  EXPECT_TRUE(contains(failed.output, "f1.txt: not stamped: " + html +
                                          ": the answer is no TimeStampResp (text/html; "))
      << failed.output;
  EXPECT_TRUE(contains(failed.output, "; http://127.0.0.1:1/: Failed to connect")) << failed.output;
  EXPECT_TRUE(contains(failed.output, "missing.txt: not stamped: cannot read missing.txt"));
  EXPECT_TRUE(contains(failed.output, "0 of 2 files stamped")) << failed.output;
  EXPECT_EQ("", sh("ls -A | grep tsr || true"));
}

TEST_F(Stamp, CommandLineMistakes) {
  makeFiles(1);
  const struct {
    std::string arguments;
    const char* says;
  } cases[] = {
      {"f1.txt", "give an authority: -tsa URL"},
      {"-tsa http://127.0.0.1:1/", "give the files to stamp"},
      {"f1.txt -tsa ftp://127.0.0.1/", "-tsa takes an http:// or https:// URL, not ftp://"},
      {"f1.txt f1.txt -tsa http://127.0.0.1:1/", "f1.txt and f1.txt would both be stamped into"},
      {"f1.txt -sha256 -sha512 -tsa http://127.0.0.1:1/", "give either -sha256 or -sha512"},
      {"f1.txt -jobs 0 -tsa http://127.0.0.1:1/", "-jobs takes a whole number from 1 to 64"},
  };
  for (const auto& test : cases) {
    const CommandResult result = tool("stamp " + test.arguments);
    EXPECT_EQ(2, result.status) << test.arguments << "\n" << result.output;
    EXPECT_TRUE(contains(result.output, test.says)) << test.arguments << "\n" << result.output;
  }
}

TEST_F(Stamp, VerifyTrustsTheSystemStoreUnlessTold) {
  makeFiles(1);
  ASSERT_EQ(0,
            tool("stamp f1.txt -tsa " + authorities().url("reply") + " -CAfile " + pkiCa()).status);
  const std::string verify = "verify -in f1.txt.tsr -data f1.txt";
  // The test CA is in no system store; a hashed folder, or the store OpenSSL is pointed at.
  EXPECT_TRUE(contains(tool(verify).output, "certificate chain: unable to get local issuer"));
  sh("mkdir hashed && cp '" + pkiCa() + "' hashed/ && openssl rehash hashed");
  EXPECT_EQ(0, tool(verify + " -CApath hashed").status);
  EXPECT_EQ(0, toolWith("SSL_CERT_FILE='" + pkiCa() + "'", verify).status);
  // A real authority's token chains to a root that Debian's ca-certificates holds.
  const std::string response = zttsp_test::vectorPath("resp-digicert-sha1-rsasha1-certs.tsr");
  const std::string digest =
      sh("'" ZTTSP_TOOL "' inspect " + response + " | awk '/hashedMessage:/ {print $2}'");
  const CommandResult real = tool("verify -in " + response + " -digest " + digest);
  EXPECT_EQ(0, real.status) << real.output;
}

}  // namespace
