// The parts of the server and tool that decide from text alone: base64 bodies and the JSON of
// inspect.
#include <gtest/gtest.h>

#include "tests/support/test_support.h"
#include "tools/files.h"
#include "tools/report.h"
#include "tools/time_stamp_service.h"

namespace {

using namespace Zanthorel::Tools;
using Zanthorel::CBlob;

// The good encodings go through the server test; here what is almost base64.
TEST(Service, RefusesLegacyBodiesThatAreAlmostBase64) {
  const CBlob der = zttsp_test::readFile(zttsp_test::vectorPath("authenticode-tsreq-signtool.der"));
  const std::string oneLine = toBase64(der);
  Zanthorel::PKI::TSP::CMSRequest request;
  EXPECT_TRUE(authenticodeRequestIn(oneLine, request));
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
