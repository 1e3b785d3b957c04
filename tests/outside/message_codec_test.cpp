// The message codec against what other implementations and real authorities sent: DER in, the
// same DER out.
#include <gtest/gtest.h>

#include <string>

#include "outside/asn1/tsp.h"
#include "tests/support/test_support.h"
#include "tests/support/vectors.h"

using Zanthorel::BER::BerReader;
using Zanthorel::BER::DerWriter;

using Zanthorel::CBlob;
using zttsp_test::fromHex;
using zttsp_test::toHex;

namespace {

template <class T, class Control>
CBlob reencode(const CBlob& input, int& status) {
  ASN1BERDecodeBuffer in(input.pbData(), input.cbData());
  T value;
  status = Control(in, value).Decode();
  if (status != 0) return CBlob();
  ASN1BEREncodeBuffer out;
  const int length = Control(out, value).Encode();
  if (length <= 0) {
    status = length;
    return CBlob();
  }
  return CBlob(out.getMsgPtr(), static_cast<std::uint32_t>(length));
}

}  // namespace

// The token of a response is kept as it was sent, whatever its encoding.
TEST(MessageCodec, ReencodesEveryRequestAndResponseVectorAsItCame) {
  using K = zttsp_test::VectorKind;
  for (const zttsp_test::Vector& v : zttsp_test::vectorsOf({K::request, K::response})) {
    SCOPED_TRACE(v.file);
    const CBlob input = v.bytes();
    int status;
    const CBlob output = v.kind == K::request
                             ? reencode<ASN1T_TimeStampReq, ASN1C_TimeStampReq>(input, status)
                             : reencode<ASN1T_TimeStampResp, ASN1C_TimeStampResp>(input, status);
    ASSERT_EQ(0, status);
    EXPECT_EQ(toHex(input), toHex(output)) << "DER in, the same DER out";
  }
}

TEST(MessageCodec, RoundTripsEveryGeneralNameAlternative) {
  const char* alternatives[] = {
      "A011 0603 2A0304 A00A 0C08 6F746865726E616D",           // otherName, value a UTF8String
      "8110 7473614065786D616D706C652E6F7267",                 // rfc822Name
      "820F 7473612E6578616D706C652E6F7267",                   // dNSName
      "A308 3006 6104 1302 4445",                              // x400Address, carried whole
      "A415 3013 3111 300F 0603550403 0C08 5465737420545341",  // directoryName CN=Test TSA
      "A50C A003 130141 A105 0C03 544541",                     // ediPartyName with nameAssigner
      "8613 687474703A2F2F7473612E6578616D706C652F",           // uniformResourceIdentifier
      "8704 7F000001",                                         // iPAddress
      "8803 2A0304",                                           // registeredID
  };
  for (const char* hex : alternatives) {
    SCOPED_TRACE(hex);
    const CBlob input = fromHex(hex);
    ASN1CTXT ctxt;
    BerReader in(input.pbData(), input.cbData(), &ctxt);
    ASN1T_GeneralName name;
    ASSERT_TRUE(asn1D_GeneralName(in, name)) << "status " << ctxt.status;
    EXPECT_TRUE(in.empty());
    DerWriter out(&ctxt);
    asn1E_GeneralName(out, name);
    ASSERT_TRUE(out.ok());
    EXPECT_EQ(toHex(input), toHex(CBlob(out.data(), static_cast<std::uint32_t>(out.size()))));
  }
}
