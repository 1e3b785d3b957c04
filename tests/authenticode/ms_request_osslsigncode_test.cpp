// CMSRequest against the request that osslsigncode sends for a legacy Authenticode time stamp,
// caught by a one-shot local HTTP listener.
#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <regex>
#include <stdexcept>
#include <string>
#include <thread>

#include "authenticode/ms_request.h"
#include "outside/ztasn1/octet_string.h"
#include "tests/support/test_support.h"

using Zanthorel::CBlob;
using Zanthorel::ASN1::CContentInfo;
using Zanthorel::PKI::TSP::CMSRequest;
using zttsp_test::run;
using zttsp_test::toHex;

namespace {

// Listens on a free local port, keeps the body of the first request and answers it with 500.
class RequestCatcher {
 public:
  RequestCatcher() : listener_(socket(AF_INET, SOCK_STREAM, 0)) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    auto* any = reinterpret_cast<sockaddr*>(&address);
    if (listener_ < 0 || bind(listener_, any, size) != 0 || listen(listener_, 1) != 0 ||
        getsockname(listener_, any, &size) != 0)
      throw std::runtime_error("cannot listen");
    url_ = "http://127.0.0.1:" + std::to_string(ntohs(address.sin_port));
    thread_ = std::thread([this] { catchOne(); });
  }
  ~RequestCatcher() {
    if (thread_.joinable()) thread_.join();
    close(listener_);
  }

  const std::string& url() const { return url_; }
  std::string body() {
    if (thread_.joinable()) thread_.join();
    return body_;
  }

 private:
  // Reads the headers and Content-Length bytes of body, each read waiting at most seconds.
  void catchOne() {
    pollfd waiting{listener_, POLLIN, 0};
    if (poll(&waiting, 1, 10000) != 1) return;
    const int connection = accept(listener_, nullptr, nullptr);
    if (connection < 0) return;
    const std::regex length("Content-Length: *([0-9]+)", std::regex::icase);
    std::string received;
    pollfd reading{connection, POLLIN, 0};
    char chunk[4096];
    ssize_t n;
    while (poll(&reading, 1, 5000) == 1 && (n = read(connection, chunk, sizeof chunk)) > 0) {
      received.append(chunk, static_cast<std::size_t>(n));
      const std::size_t headersEnd = received.find("\r\n\r\n");
      const std::string headers = received.substr(0, headersEnd);
      std::smatch m;
      if (headersEnd == std::string::npos || !std::regex_search(headers, m, length) ||
          received.size() < headersEnd + 4 + std::stoul(m[1].str()))
        continue;
      body_ = received.substr(headersEnd + 4);
      break;
    }
    const char answer[] = "HTTP/1.0 500 Not here\r\nContent-Length: 0\r\n\r\n";
    (void)!send(connection, answer, sizeof answer - 1, MSG_NOSIGNAL);
    close(connection);
  }

  int listener_;
  std::string url_;
  std::thread thread_;
  std::string body_;
};

}  // namespace

TEST(MSRequest, DecodesWhatOsslsigncodeSendsAndEncodesTheSameBytes) {
  zttsp_test::TempDir dir;
  const std::string in = "cd '" + dir.path() + "' && ";
  zttsp_test::writeText(dir.path("script.ps1"), "Write-Output 'stamp me'\r\n");
  const auto signing =
      run(in +
          "openssl req -x509 -newkey rsa:2048 -nodes -subj /CN=signer -days 1 -keyout key.pem"
          " -out cert.pem && osslsigncode sign -certs cert.pem -key key.pem -in script.ps1"
          " -out signed.ps1 && osslsigncode extract-signature -in signed.ps1 -out sig.der");
  ASSERT_EQ(0, signing.status) << signing.output;
  // The signer's encrypted digest, the only 256-byte OCTET STRING of an RSA-2048 signature.
  std::smatch digest;
  const std::string parsed = run(in + "openssl asn1parse -inform DER -in sig.der").output;
  ASSERT_TRUE(std::regex_search(parsed, digest,
                                std::regex("l= 256 prim: OCTET STRING +\\[HEX DUMP\\]:(\\w+)")));

  RequestCatcher server;
  run(in + "osslsigncode add -t " + server.url() + " -in signed.ps1 -out stamped.ps1");
  zttsp_test::writeText(dir.path("request.b64"), server.body());
  const auto unwrapped = run(in + "openssl base64 -d -in request.b64 -out request.der");
  ASSERT_EQ(0, unwrapped.status) << unwrapped.output;
  const CBlob sent = zttsp_test::readFile(dir.path("request.der"));
  ASSERT_FALSE(sent.empty()) << "osslsigncode sent nothing";

  CMSRequest request;
  request.decode(sent);
  EXPECT_STREQ("1.3.6.1.4.1.311.3.2.1", request.get_timeStampAlgorithm());
  EXPECT_EQ(nullptr, request.get_attributes());
  EXPECT_STREQ("1.2.840.113549.1.7.1", request.get_contentInfo().get_contentType());
  EXPECT_EQ("04820100" + digest[1].str(), toHex(request.get_contentInfo().get_content()));

  const CContentInfo data("1.2.840.113549.1.7.1",
                          Zanthorel::ASN1::toOctetString(zttsp_test::fromHex(digest[1].str())));
  EXPECT_EQ(toHex(sent), toHex(CMSRequest("1.3.6.1.4.1.311.3.2.1", data).encode()));
}
