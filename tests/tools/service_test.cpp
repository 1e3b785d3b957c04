// The parts of the server and tool that decide from text alone: media types, base64 bodies,
// accuracy values, the JSON of inspect.
#include <gtest/gtest.h>

#include "tests/support/test_support.h"
#include "tools/authority_options.h"
#include "tools/files.h"
#include "tools/report.h"
#include "tools/time_stamp_service.h"
#include "tools/tool_error.h"

namespace {

using namespace Zanthorel::Tools;
using Zanthorel::CBlob;

TEST(Service, ChoosesTheReplyTypeTheClientSpells) {
  EXPECT_EQ("application/timestamp-query", mediaType(" Application/TimeStamp-Query ; q=1"));
  const std::string reply = "application/timestamp-reply";
  const std::string response = "application/timestamp-response";
  const std::string query = "application/timestamp-query";
  EXPECT_EQ(reply, replyTypeFor(query, ""));
  EXPECT_EQ(reply, replyTypeFor(query, "*/*"));
  EXPECT_EQ(response, replyTypeFor(query, "text/html, Application/Timestamp-Response;q=0.9"));
  EXPECT_EQ(response, replyTypeFor(response, ""));
  EXPECT_EQ(reply, replyTypeFor(response, response + ", " + reply));
}

TEST(Service, ReadsLegacyBodiesInBase64WithOrWithoutBreaksOrAsDer) {
  const CBlob der = zttsp_test::readFile(zttsp_test::vectorPath("authenticode-tsreq-signtool.der"));
  const std::string oneLine = toBase64(der);
  std::string lines;
  for (std::size_t at = 0; at < oneLine.size(); at += 64)
    lines += oneLine.substr(at, 64) + "\r\n";
  Zanthorel::PKI::TSP::CMSRequest request;
  for (const std::string& body :
       {oneLine, lines, std::string(reinterpret_cast<const char*>(der.pbData()), der.cbData())}) {
    EXPECT_TRUE(authenticodeRequestIn(body, request));
    EXPECT_EQ(der, request.encode());
  }
  // Broken padding, stray characters, a truncated request, nothing at all.
  for (const std::string& body :
       {oneLine.substr(0, oneLine.size() - 1), "=" + oneLine, oneLine + "!", oneLine.substr(0, 100),
        std::string(), std::string("\r\n")})
    EXPECT_FALSE(authenticodeRequestIn(body, request)) << body;
  CBlob decoded;
  EXPECT_TRUE(fromBase64("YQ==", 4, decoded));
  EXPECT_EQ(zttsp_test::blobOf("a"), decoded);
  EXPECT_FALSE(fromBase64("Y=Q=", 4, decoded));
}

TEST(Service, ReadsAccuracyAsSecondsMillisMicros) {
  const auto accuracy = parseAccuracy("2,5,999");
  EXPECT_EQ(2u, accuracy.seconds);
  EXPECT_EQ(5u, accuracy.millis);
  EXPECT_EQ(999u, accuracy.micros);
  EXPECT_EQ(500u, parseAccuracy("0,500").millis);
  for (const char* bad : {"", "0", "0,0,0", "1,1000", "1,,2", "1,2,3,4", "-1", "1.5", "x"})
    EXPECT_THROW(parseAccuracy(bad), UsageError) << bad;
}

// Names and texts in messages are whatever their makers wrote: quotes, control characters, bytes
// that are no UTF-8. The JSON must stay JSON.
TEST(Service, WritesAnyTextAsValidJson) {
  Report report;
  report.add("subject \"quoted\"", "CN=a\\b\n\x01\xff\xc3\xa9");
  Report& list = report.addList("list");
  list.append("x");
  list.appendObject().addBoolean("flag", true);
  report.addList("empty");
  EXPECT_EQ(
      "{\n  \"subject \\\"quoted\\\"\": \"CN=a\\\\b\\n\\u0001\\ufffd\xc3\xa9\",\n"
      "  \"list\": [\n    \"x\",\n    {\n      \"flag\": true\n    }\n  ],\n  \"empty\": []\n}\n",
      report.toJson());
}

}  // namespace
