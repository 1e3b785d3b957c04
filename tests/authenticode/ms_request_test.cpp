// CMSRequest: attributes and copies. (The requests of other implementations are rows of the
// table of vectors, failed decodes of the hostile catalogue.)
#include <gtest/gtest.h>

#include <regex>
#include <string>

#include "authenticode/ms_request.h"
#include "outside/ztasn1/octet_string.h"
#include "sdk/win32.h"
#include "tests/support/test_support.h"

using namespace Zanthorel::PKI::TSP;
using Zanthorel::CBlob;
using Zanthorel::CDateTime;
using Zanthorel::ASN1::CAttribute;
using Zanthorel::ASN1::CAttributes;
using Zanthorel::ASN1::CAttrSigningTime;
using Zanthorel::ASN1::CContentInfo;
using Zanthorel::ASN1::toOctetString;
using zttsp_test::fromHex;
using zttsp_test::run;
using zttsp_test::toHex;

namespace {

const char kCountersignature[] = "1.3.6.1.4.1.311.3.2.1";

CMSRequest decoded(const CBlob& bytes) {
  CMSRequest request;
  request.decode(bytes);
  return request;
}

// Two attributes, given in DER order so that they read back in the order given.
CAttributes someAttributes() {
  CAttributes attributes;
  CAttribute twoValues("1.3.6.1.4.1.99999.1");
  twoValues.add(fromHex("020107"));
  twoValues.add(fromHex("0500"));
  attributes.push_back(twoValues);
  CAttribute signingTime(CAttrSigningTime::kOid);
  signingTime.add(CAttrSigningTime(CDateTime("20240621071205Z")));
  attributes.push_back(signingTime);
  return attributes;
}

}  // namespace

TEST(MSRequest, RoundTripsAttributesInTheirPlace) {
  zttsp_test::TempDir dir;
  const CAttributes attributes = someAttributes();
  CMSRequest request(kCountersignature,
                     CContentInfo(szOID_RSA_data, toOctetString(fromHex("0102"))));
  request.put_attributes(&attributes);
  const CBlob bytes = request.encode();

  // A copy is its own value: the source's changes do not reach it.
  CMSRequest back(request);
  request.put_timeStampAlgorithm("1.2.3");
  request.put_attributes(nullptr);
  EXPECT_EQ(toHex(bytes), toHex(back.encode()));
  back.put_attributes(nullptr);
  back.decode(bytes);
  ASSERT_NE(nullptr, back.get_attributes());
  EXPECT_TRUE(attributes == *back.get_attributes());
  EXPECT_EQ(toHex(bytes), toHex(back.encode()));

  // OpenSSL sees the SET of attributes between the identifier and the content.
  zttsp_test::writeFile(dir.path("request.der"), bytes);
  const auto parsed = run("openssl asn1parse -inform DER -in '" + dir.path("request.der") + "'");
  ASSERT_EQ(0, parsed.status) << parsed.output;
  const std::regex order(
      "d=1 .*OBJECT +:1\\.3\\.6\\.1\\.4\\.1\\.311\\.3\\.2\\.1\n"
      ".*d=1 .*SET[^\n]*\n(.*\n)*.*d=1 .*SEQUENCE[^\n]*\n.*:pkcs7-data");
  EXPECT_TRUE(std::regex_search(parsed.output, order)) << parsed.output;
  EXPECT_NE(std::string::npos, parsed.output.find(":signingTime")) << parsed.output;
}

TEST(MSRequest, EmptyAttributeListsAreWrittenAsAbsentAndReadAsPresent) {
  EXPECT_HRESULT(CRYPT_E_ASN1_INTERNAL, CMSRequest().encode()) << "nothing to encode";
  const CContentInfo content(szOID_RSA_data, toOctetString(fromHex("AABB")));
  const CMSRequest plain(kCountersignature, content);
  CMSRequest empty(plain);
  const CAttributes none;
  empty.put_attributes(&none);
  ASSERT_NE(nullptr, empty.get_attributes()) << "kept as given";
  EXPECT_EQ(toHex(plain.encode()), toHex(empty.encode()));
  EXPECT_EQ(nullptr, decoded(empty.encode()).get_attributes());

  // A present but empty SET (31 00) reads as a present, empty list and is then left out.
  const std::string withEmptySet = "301B 060A2B0601040182370302013100 300B 06092A864886F70D010701";
  const std::string withoutSet = "3019 060A2B060104018237030201 300B 06092A864886F70D010701";
  CMSRequest fromEmptySet = decoded(fromHex(withEmptySet));
  ASSERT_NE(nullptr, fromEmptySet.get_attributes());
  EXPECT_EQ(0u, fromEmptySet.get_attributes()->size());
  EXPECT_EQ(toHex(fromHex(withoutSet)), toHex(fromEmptySet.encode()));

  // Decoding a request without attributes drops those held.
  const CAttributes attributes = someAttributes();
  fromEmptySet.put_attributes(&attributes);
  fromEmptySet.decode(fromHex(withoutSet));
  EXPECT_EQ(nullptr, fromEmptySet.get_attributes());
  EXPECT_TRUE(fromEmptySet.get_contentInfo().get_content().empty());
}
