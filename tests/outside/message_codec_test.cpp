// The message codec against what other implementations and real authorities sent: DER in, the
// same DER out.
#include <gtest/gtest.h>

#include <string>

#include "outside/asn1/tsp.h"
#include "tests/support/test_support.h"

using Zanthorel::BER::BerReader;
using Zanthorel::BER::DerWriter;

using Zanthorel::CBlob;
using zttsp_test::fromHex;
using zttsp_test::readFile;
using zttsp_test::toHex;
using zttsp_test::vectorPath;

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

TEST(MessageCodec, DecodesAndReencodesEveryRequestVector) {
  for (const char* name :
       {"req-windows-cryptretrievetimestamp-sha256-certreq.tsq",
        "req-dotnet-sha512-policy-nonce-extensions.tsq", "req-bc-md5-policy-nonce-nocertreq.tsq",
        "req-signserver-sha1-negative-nonce.tsq"}) {
    SCOPED_TRACE(name);
    const CBlob input = readFile(vectorPath(name));
    int status;
    const CBlob output = reencode<ASN1T_TimeStampReq, ASN1C_TimeStampReq>(input, status);
    ASSERT_EQ(0, status);
    EXPECT_EQ(toHex(input), toHex(output)) << "DER in, the same DER out";
  }
}

TEST(MessageCodec, DecodesEveryResponseVectorAndKeepsTheTokenAsSent) {
  for (const char* name :
       {"resp-bc-md5-accuracy-ordering.tsr", "resp-digicert-sha1-rsasha1-certs.tsr",
        "resp-drv-qc-essv2-etsi-policy.tsr", "resp-freetsa-sha256-nononce-micros-certs.tsr",
        "resp-freetsa-sha512-ordering-essv1.tsr", "resp-globalsign-g4-essv2-cmsalgprotect.tsr",
        "resp-identrust-sha512imprint-essv1.tsr", "resp-ncipher-v1attrcert-millis.tsr",
        "resp-rejection-badalg-statustext.tsr", "resp-rejection-unaccepted-policy.tsr",
        "resp-signserver-negative-nonce-nocerts.tsr", "resp-signserver-statusstring-certs.tsr",
        "resp-sigstage-ecdsa-invalid-signature.tsr", "resp-sigstage-ecdsa-sha384imprint.tsr",
        "resp-sigstore-mock-ber-octetstring-negserial.tsr",
        "resp-symantec-sha256-nonce-nocerts.tsr"}) {
    SCOPED_TRACE(name);
    const CBlob input = readFile(vectorPath(name));
    int status;
    const CBlob output = reencode<ASN1T_TimeStampResp, ASN1C_TimeStampResp>(input, status);
    ASSERT_EQ(0, status);
    EXPECT_EQ(toHex(input), toHex(output));
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
