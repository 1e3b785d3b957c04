// The ASN.1 object types and their conversions to and from the codec structures.
#include <gtest/gtest.h>

#include <string>

#include "outside/ztasn1/ztasn1.h"
#include "tests/support/test_support.h"

using Zanthorel::BER::DerWriter;

using namespace Zanthorel::ASN1;
using Zanthorel::CBlob;
using Zanthorel::CDateTime;
using zttsp_test::fromHex;
using zttsp_test::toHex;

namespace {

template <class T>
std::string der(const T& value, void (*encoder)(DerWriter&, const T&)) {
  ASN1CTXT ctxt;
  DerWriter out(&ctxt);
  encoder(out, value);
  EXPECT_TRUE(out.ok());
  return toHex(CBlob(out.data(), static_cast<std::uint32_t>(out.size())));
}

// Hex without the spaces that make the expectations readable.
std::string hex(const char* spaced) {
  return toHex(fromHex(spaced));
}

std::string oidText(const std::string& hexContent) {
  const CBlob content = fromHex(hexContent);
  const ASN1OBJID oid{content.cbData(), content.pbData()};
  std::string text;
  return oid2str(text, &oid) ? text : "<fails>";
}

}  // namespace

TEST(ObjectIdentifier, ConvertsBetweenTextAndOctets) {
  EXPECT_EQ("1.2.840.113549.1.9.16.1.4", oidText("2A864886F70D01091001 04"));
  EXPECT_EQ("2.16.840.1.101.3.4.2.1", oidText("608648016503040201"));
  EXPECT_EQ("2.999.3", oidText("883703")) << "first arc 2 takes any second arc";
  EXPECT_EQ("0.0", oidText("00"));
  EXPECT_EQ("1.2.18446744073709551615", oidText("2A 81FFFFFFFFFFFFFFFF7F"));
  EXPECT_EQ("<fails>", oidText("2A86")) << "unfinished arc";
  EXPECT_EQ("", oidText("")) << "a cleared identifier is empty text";

  ASN1CTXT ctxt;
  for (const char* text :
       {"1.2.840.113549.1.9.16.1.4", "2.999.3", "0.39", "1.2.18446744073709551615"}) {
    ASN1OBJID oid;
    ASN1TObjId_traits::set(&ctxt, oid, text);
    std::string back;
    ASN1TObjId_traits::get(oid, back);
    EXPECT_EQ(text, back);
  }
  for (const char* bad : {"1", "3.1", "1.40", "1..2", "1.2.", "01.2", "1.02", "1.2.a",
                          "1.2.18446744073709551616", " 1.2"}) {
    ASN1OBJID oid;
    EXPECT_HRESULT(E_INVALIDARG, ASN1TObjId_traits::set(&ctxt, oid, bad)) << bad;
  }
  ASN1OBJID empty;
  ASN1TObjId_traits::set(&ctxt, empty, "");
  EXPECT_EQ(0u, empty.numocts);

  // Comparing with text answers as comparing the dotted form would, malformed octets never equal.
  for (const char* octets : {"2A864886F70D01091001 04", "2A864886F70D010910", "883703", "55", "00",
                             "2A 81FFFFFFFFFFFFFFFF7F", "2A86", "2A 8001", ""}) {
    const CBlob content = fromHex(octets);
    const ASN1OBJID oid{content.cbData(), content.pbData()};
    for (const char* text : {"1.2.840.113549.1.9.16.1.4", "1.2.840.113549.1.9.16",
                             "1.2.840.113549.1.9.16.1", "2.999.3", "2.5", "1.45", "0.0", "0.00",
                             "1.2.18446744073709551615", "1.2.6", "1.2.", "1", ""})
      EXPECT_EQ(oidText(octets) == text, oidEquals(oid, text)) << octets << " against " << text;
  }
}

TEST(BigInteger, KeepsValuesOfAnySizeAndSign) {
  EXPECT_EQ("00", toHex(CBigInteger().get_value()));
  EXPECT_EQ("0080", toHex(CBigInteger(128).get_value()));
  EXPECT_EQ("-0x4CC7C80C", std::string(CBigInteger("-0x4cc7c80c").toString().c_str()));
  EXPECT_EQ("B33837F4", toHex(CBigInteger("-1288161292").get_value()));
  const CBlob twenty = fromHex("FFEEDDCCBBAA99887766554433221100FFEEDDCC");
  const CBigInteger serial = CBigInteger::fromUnsigned(twenty.pbData(), twenty.cbData());
  EXPECT_FALSE(serial.isNegative());
  EXPECT_EQ("00FFEEDDCCBBAA99887766554433221100FFEEDDCC", toHex(serial.get_value()));
  EXPECT_STREQ("1461119545399574577571474719034527128674982878668",
               CBigInteger::fromUnsigned(twenty.pbData(), twenty.cbData()).toDecimal().c_str());
  EXPECT_STREQ("-128", CBigInteger(-128).toDecimal().c_str());
  EXPECT_HRESULT(E_INVALIDARG, CBigInteger("12z"));
}

// (Every GeneralName alternative is round-tripped in message_codec_test, ContentInfo with the
// Authenticode request vectors.)
TEST(ObjectTraits, RefuseANameThatIsNone) {
  ASN1CTXT ctxt;
  ASN1T_GeneralName generalName;
  EXPECT_HRESULT(E_INVALIDARG,
                 ASN1T_GeneralName_traits::set(&ctxt, generalName,
                                               CGeneralName::fromDirectoryName(fromHex("3003"))));
}

TEST(PKIStatusInfo, WritesFailureBitsAsANamedBitList) {
  // Each bit alone, as X.690 11.2.2 writes a named bit list (values checked with OpenSSL).
  const struct {
    std::uint32_t bit;
    const char* hex;
  } bits[] = {{badAlg, "3007 020102 03020780"},
              {badRequest, "3007 020102 03020520"},
              {badDataFormat, "3007 020102 03020204"},
              {timeNotAvailable, "3008 020102 0303010002"},
              {unacceptedPolicy, "3008 020102 0303000001"},
              {unacceptedExtension, "3009 020102 030407000080"},
              {addInfoNotAvailable, "3009 020102 030406000040"},
              {systemFailure, "300A 020102 03050600000040"}};
  for (const auto& b : bits) {
    ASN1CTXT ctxt;
    CPKIStatusInfo status(rejection);
    status.put_failInfo(b.bit);
    ASN1T_PKIStatusInfo structure;
    ASN1T_PKIStatusInfo_traits::set(&ctxt, structure, status);
    EXPECT_EQ(hex(b.hex), der(structure, asn1E_PKIStatusInfo));
    CPKIStatusInfo back;
    ASN1T_PKIStatusInfo_traits::get(structure, back);
    EXPECT_EQ(status, back);
  }
}

TEST(Attributes, EncodeSigningTimeAsRfc5652Asks) {
  // UTCTime from 1950 to 2049, GeneralizedTime outside, whole seconds only: the boundaries (openssl
  // reads the times of 2024 and 2050 in the stamp tests).
  const struct {
    const char* time;
    const char* hex;
  } cases[] = {
      {"20240102030405.678Z", "170D3234303130323033303430355A"},
      {"20491231235959Z", "170D3439313233313233353935395A"},
      {"19500101000000Z", "170D3530303130313030303030305A"},
      {"19491231235959Z", "180F31393439313233313233353935395A"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.time);
    const CAttrSigningTime value{CDateTime(c.time)};
    EXPECT_EQ(c.hex, toHex(value.get_value()));
    const CAttrSigningTime back(value.get_value());
    EXPECT_EQ(CDateTime(CDateTime(c.time).get_seconds(), 0), back.get_time());
  }
  EXPECT_HRESULT(CRYPT_E_ASN1_INTERNAL, CAttrSigningTime(fromHex("170D3234313330323033303430355A")))
      << "month 13";
  EXPECT_HRESULT(CRYPT_E_ASN1_INTERNAL, CAttrSigningTime(fromHex("0403010203")));

  CAttributes attributes;
  CAttribute signingTime(CAttrSigningTime::kOid);
  signingTime.add(CAttrSigningTime(CDateTime(1700000000, 0)));
  CAttribute other("1.2.3");
  other.add(fromHex("0500"));
  other.add(fromHex("0101FF"));
  attributes.push_back(other);
  attributes.push_back(signingTime);
  EXPECT_TRUE(attributes.find("1.2.4") == attributes.end());

  ASN1CTXT ctxt;
  ASN1T_Attributes structure;
  ASN1T_Attributes_traits::set(&ctxt, structure, attributes);
  CAttributes back;
  ASN1T_Attributes_traits::get(structure, back);
  EXPECT_EQ(attributes, back) << "order and every value kept";
}

TEST(OctetString, WrapsAndUnwraps) {
  EXPECT_EQ("0404DEADBEEF", toHex(toOctetString(fromHex("DEADBEEF"))));
  EXPECT_EQ("DEADBEEF", toHex(fromOctetString(fromHex("2480 0402DEAD 0402BEEF 0000"))));
  EXPECT_EQ("", toHex(fromOctetString(CBlob())));
  EXPECT_HRESULT(CRYPT_E_ASN1_INTERNAL, fromOctetString(fromHex("3000")));
  EXPECT_HRESULT(CRYPT_E_ASN1_INTERNAL, fromOctetString(fromHex("0401AA00")));
}
