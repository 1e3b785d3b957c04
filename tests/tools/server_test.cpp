// zttsp serve against clients that no one here wrote: openssl ts with curl, osslsigncode, and
// hand-made bad requests. One server serves the whole suite; a given signer needs its own.
#include <signal.h>

#include <memory>
#include <regex>

#include "tests/support/test_support.h"
#include "tests/tools/tool_process.h"

namespace {

using tool_test::curlPost;
using tool_test::occurrences;
using tool_test::Server;
using tool_test::zttsp;
using zttsp_test::run;
using zttsp_test::TempDir;
using zttsp_test::vectorPath;

const char kQuery[] = "application/timestamp-query";
const char kReply[] = "application/timestamp-reply";
const char kOctets[] = "application/octet-stream";

// A server, stopped by `signal`: it says so and ends with status 0.
void expectCleanStop(Server& server, int signal, const char* name) {
  EXPECT_EQ(0, server.stop(signal)) << server.log();
  EXPECT_NE(std::string::npos, server.log().find(std::string("stopped on ") + name))
      << server.log();
}

class Serve : public testing::Test {
 protected:
  // Something to stamp, in the test's folder.
  Serve() { zttsp_test::writeText(work_.path("stamped.txt"), "stamp me\n"); }
  static void SetUpTestSuite() {
    data_ = std::make_unique<TempDir>();
    server_ = std::make_unique<Server>(data_->path("identity"));
  }
  static void TearDownTestSuite() {
    // The sanitizer build reports leaks at exit, which makes the status other than 0.
    expectCleanStop(*server_, SIGTERM, "SIGTERM");
    server_.reset();
    data_.reset();
  }

  const Server& server() const { return *server_; }
  std::string file(const std::string& name) const { return work_.path(name); }
  std::string post(const std::string& type, const std::string& body, const std::string& out,
                   const std::string& extra = "") const {
    return curlPost(server(), type, file(body), file(out), extra);
  }
  std::string sh(const std::string& command) const {
    return zttsp_test::runIn(work_.path(), command);
  }
  // `openssl ts -reply -text` of a response, for its status and failure info.
  std::string statusOf(const std::string& response) const {
    return sh("openssl ts -reply -in " + response + " -text 2>&1");
  }

  TempDir work_;

 private:
  static std::unique_ptr<TempDir> data_;
  static std::unique_ptr<Server> server_;
};

std::unique_ptr<TempDir> Serve::data_;
std::unique_ptr<Server> Serve::server_;

TEST_F(Serve, OpensslRequestsGetTokensThatOpensslVerifies) {
  sh("printf 'stamp me\\n' > data.txt");
  // With -cert the token carries the signer; without, openssl finds it among -untrusted.
  for (const std::string flags : {"-sha256 -cert", "-sha1 -no_nonce", "-sha512 -cert"}) {
    SCOPED_TRACE(flags);
    sh("openssl ts -query -data data.txt " + flags + " -out request.tsq");
    EXPECT_EQ(std::string("200 ") + kReply, post(kQuery, "request.tsq", "response.tsr"));
    const std::string untrusted = flags.find("-cert") != std::string::npos
                                      ? ""
                                      : " -untrusted '" + server().dataDir() + "/tsa.pem'";
    EXPECT_NE(std::string::npos,
              sh("openssl ts -verify -in response.tsr -queryfile request.tsq -CAfile '" +
                 server().caFile() + "'" + untrusted + " 2>&1")
                  .find("Verification: OK"));
  }
}

TEST_F(Serve, ServesClientsThatSpellTheReplyTimestampResponse) {
  sh("openssl ts -query -data stamped.txt -cert -out request.tsq");
  const std::string old = "application/timestamp-response";
  // The request sent under the reply's other name, and the other name asked for by Accept.
  EXPECT_EQ("200 " + old, post(old, "request.tsq", "a.tsr"));
  EXPECT_NE(std::string::npos, statusOf("a.tsr").find("Status: Granted.")) << statusOf("a.tsr");
  EXPECT_EQ("200 " + old, post(kQuery, "request.tsq", "b.tsr", "-H 'Accept: " + old + "'"));
  // A client that takes both gets the usual name.
  EXPECT_EQ(std::string("200 ") + kReply,
            post(kQuery, "request.tsq", "c.tsr", "-H 'Accept: " + old + ", " + kReply + "'"));
}

TEST_F(Serve, ManyClientsAtOnceAllGetValidTokens) {
  sh("openssl ts -query -data stamped.txt -cert -out request.tsq");
  const std::string statuses =
      sh("for i in $(seq 16); do curl -s --max-time 20 -H 'Content-Type: " + std::string(kQuery) +
         "' --data-binary @request.tsq -o r$i.tsr -w '%{http_code}\\n' " + server().url() +
         " & done; wait");
  EXPECT_EQ(16u, occurrences(statuses, "200")) << statuses;
  const std::string verified =
      sh("for i in $(seq 16); do openssl ts -verify -in r$i.tsr -queryfile request.tsq -CAfile '" +
         server().caFile() + "' 2>&1; done");
  EXPECT_EQ(16u, occurrences(verified, "Verification: OK")) << verified;
}

TEST_F(Serve, OsslsigncodeStampsAPeFileBothWays) {
  sh("openssl req -x509 -newkey rsa:2048 -nodes -subj '/CN=zttsp test code signer' -days 2 "
     "-keyout signer.key -out signer.pem 2>/dev/null");
  // -t: the legacy Authenticode exchange (base64 in 64-character lines); -ts: RFC 3161.
  for (const std::string way : {"-t", "-ts"}) {
    SCOPED_TRACE(way);
    const std::string signedPe = "signed" + way + ".exe";
    sh("osslsigncode sign -certs signer.pem -key signer.key " + way + " " + server().url() +
       " -in '" + zttsp_test::dataPath("tools/tiny.exe") + "' -out " + signedPe);
    const std::string verified =
        sh("osslsigncode verify -in " + signedPe + " -CAfile signer.pem -TSA-CAfile '" +
           server().caFile() + "' 2>&1");
    EXPECT_NE(std::string::npos, verified.find("Timestamp Server Signature verification: ok"))
        << verified;
    EXPECT_NE(std::string::npos, verified.find("CN=zttsp development TSA")) << verified;
  }
}

TEST_F(Serve, StampsLegacyBodiesInEveryEncodingOverTheRequestsContent) {
  const std::string request = vectorPath("authenticode-tsreq-signtool.der");
  // signtool's request ends with the 256-byte signature that the stamp must carry.
  sh("tail -c 256 '" + request + "' > signature.bin && cp '" + request +
     "' request.der && openssl base64 -A -in request.der -out one-line.b64 && "
     "openssl base64 -in request.der -out lines.b64");
  for (const char* body : {"one-line.b64", "lines.b64", "request.der"}) {
    SCOPED_TRACE(body);
    EXPECT_EQ(std::string("200 ") + kOctets, post(kOctets, body, "stamp.b64"));
    sh("openssl base64 -d -A -in stamp.b64 -out stamp.der && openssl cms -verify -inform DER "
       "-in stamp.der -binary -purpose timestampsign -CAfile '" +
       server().caFile() + "' -out content.bin 2>/dev/null && cmp content.bin signature.bin");
    EXPECT_NE(std::string::npos,
              sh("openssl cms -cmsout -print -inform DER -in stamp.der").find("signingTime"));
  }
}

TEST_F(Serve, RefusesBadRequestsRightlyAndKeepsServing) {
  sh("openssl ts -query -data stamped.txt -cert -out good.tsq && "
     "openssl ts -query -data stamped.txt -md5 -out md5.tsq && "
     "printf 'no time-stamp request' > garbage && : > empty && "
     "head -c 70000 /dev/zero > oversized && "
     "openssl base64 -A -in '" +
     vectorPath("authenticode-tsreq-signtool.der") + "' -out legacy.b64");
  const std::size_t before = occurrences(server().log(), " POST / ");

  // RFC 3161 refusals are TimeStampResp rejections, sent as normal replies.
  const struct {
    const char* body;
    const char* failure;  // as openssl ts -reply -text names it
  } rejected[] = {
      {"garbage", "the data submitted has the wrong format"},
      {"empty", "the data submitted has the wrong format"},
      {"md5.tsq", "unrecognized or unsupported algorithm identifier"},
  };
  for (const auto& refusal : rejected) {
    SCOPED_TRACE(refusal.body);
    EXPECT_EQ(std::string("200 ") + kReply, post(kQuery, refusal.body, "refused.tsr"));
    const std::string status = statusOf("refused.tsr");
    EXPECT_NE(std::string::npos, status.find("Status: Rejected.")) << status;
    EXPECT_NE(std::string::npos, status.find(refusal.failure)) << status;
  }

  // The rest are HTTP errors whose text says what the client seems to want.
  const struct {
    const char* type;
    const char* body;
    const char* extra;
    const char* status;
    const char* says;
  } errors[] = {
      {"text/plain", "good.tsq", "", "415", "send it as application/timestamp-query"},
      {"text/plain", "legacy.b64", "", "415", "send it as application/octet-stream"},
      {"image/png", "garbage", "", "415", "application/timestamp-query"},
      {kOctets, "good.tsq", "", "400", "send it as application/timestamp-query"},
      {kOctets, "garbage", "", "400", "no base64 or DER Authenticode time-stamp request"},
      {kOctets, "empty", "", "400", "empty body"},
      {kQuery, "oversized", "", "413", "at most 65536 bytes"},
      {kOctets, "oversized", "-H 'Transfer-Encoding: chunked'", "413", "at most 65536 bytes"},
      {kQuery, "good.tsq", "-X PUT", "405", "application/timestamp-query"},
  };
  for (const auto& error : errors) {
    SCOPED_TRACE(std::string(error.type) + " " + error.body + " " + error.extra);
    EXPECT_EQ(std::string(error.status) + " text/plain; charset=utf-8",
              post(error.type, error.body, "error.txt", error.extra));
    EXPECT_NE(std::string::npos, zttsp_test::readText(file("error.txt")).find(error.says))
        << zttsp_test::readText(file("error.txt"));
  }
  EXPECT_EQ(
      "404 text/plain; charset=utf-8",
      run("curl -s -o /dev/null -w '%{http_code} %{content_type}' " + server().url() + "elsewhere")
          .output);

  EXPECT_EQ(std::string("200 ") + kReply, post(kQuery, "good.tsq", "good.tsr"));
  EXPECT_NE(std::string::npos, statusOf("good.tsr").find("Status: Granted."));
  // One line for each request, with its status.
  const std::string log = server().log();
  const std::size_t puts = 1, goods = 1;
  EXPECT_EQ(before + std::size(rejected) + std::size(errors) - puts + goods,
            occurrences(log, " POST / "))
      << log;
  EXPECT_TRUE(std::regex_search(log, std::regex(" PUT / application/timestamp-query 405 "))) << log;
}

TEST_F(Serve, AnswersRequestsInBerAndLogsThem) {
  // The outer length in two octets where DER has one.
  sh("openssl ts -query -data stamped.txt -cert -out der.tsq && (printf '\\060\\201'; tail -c +2 "
     "der.tsq) > ber.tsq");
  EXPECT_EQ(std::string("200 ") + kReply, post(kQuery, "ber.tsq", "ber.tsr"));
  EXPECT_NE(std::string::npos, statusOf("ber.tsr").find("Status: Granted."));
  EXPECT_EQ(1u, occurrences(server().log(), " us, request in BER, not DER")) << server().log();
}

// The suite's server made the identity; a second server on the same folder takes it up.
TEST_F(Serve, KeepsItsDevelopmentIdentityAndStopsCleanlyOnSignals) {
  EXPECT_NE(std::string::npos, server().log().find("made the development CA")) << server().log();
  // One line tells that it is ready, and where.
  EXPECT_EQ(1u, occurrences(server().log(), "serving on http://127.0.0.1:"));
  Server second(server().dataDir());
  EXPECT_NE(std::string::npos, second.log().find("using the development CA")) << second.log();
  EXPECT_EQ(zttsp_test::readText(server().caFile()), zttsp_test::readText(second.caFile()));
  // The key stays the owner's.
  EXPECT_EQ("600", run("stat -c %a '" + server().dataDir() + "/tsa.key'").output.substr(0, 3));
  expectCleanStop(second, SIGINT, "SIGINT");
}

TEST(ServeLifetime, ServesWithAGivenSignerAndChain) {
  TempDir dir;
  zttsp_test::runIn(
      dir.path(),
      "openssl req -x509 -newkey rsa:2048 -nodes -subj '/CN=Given CA' -days 2 -keyout ca.key "
      "-out ca.pem 2>/dev/null && printf 'extendedKeyUsage = critical,timeStamping\\n' > ext && "
      "openssl req -new -newkey ec -pkeyopt ec_paramgen_curve:P-256 -nodes -subj '/CN=Given "
      "TSA' -keyout tsa.key -out tsa.csr 2>/dev/null && openssl x509 -req -in tsa.csr -CA "
      "ca.pem -CAkey ca.key -CAcreateserial -days 2 -extfile ext -out tsa.pem 2>/dev/null && "
      "openssl ts -query -data ext -cert -out request.tsq");
  Server server(dir.path("unused"), "-signer " + dir.path("tsa.pem") + " -inkey " +
                                        dir.path("tsa.key") + " -chain " + dir.path("ca.pem"));
  EXPECT_EQ(std::string::npos, server.log().find("development")) << server.log();
  EXPECT_EQ(std::string("200 ") + kReply,
            curlPost(server, kQuery, dir.path("request.tsq"), dir.path("response.tsr")));
  // The chain travels with the token: two certificates.
  EXPECT_NE(std::string::npos,
            zttsp_test::runIn(dir.path(),
                              "openssl ts -verify -in response.tsr -queryfile request.tsq "
                              "-CAfile ca.pem 2>&1")
                .find("Verification: OK"));
  EXPECT_EQ(2u, occurrences(zttsp("inspect response.tsr", dir.path()).output, "notAfter"));
  expectCleanStop(server, SIGTERM, "SIGTERM");
}

}  // namespace
