// The message codec against what other implementations and real authorities sent.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "outside/asn1/authenticode.h"
#include "outside/asn1/tsp.h"
#include "tests/support/test_support.h"

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

// The eContent octets of a TimeStampToken: ContentInfo → SignedData → EncapsulatedContentInfo.
CBlob tstInfoOf(const CBlob& token) {
  ASN1CTXT ctxt;
  BerReader in(token.pbData(), token.cbData(), &ctxt);
  ASN1T_ContentInfo contentInfo;
  EXPECT_TRUE(asn1D_ContentInfo(in, contentInfo));
  BerReader signedData(contentInfo.content.data, contentInfo.content.numocts, &ctxt), seq, encap,
      explicit0;
  const char* version;
  ASN1OpenType digestAlgorithms;
  ASN1OBJID eContentType;
  ASN1DynOctStr eContent{};
  EXPECT_TRUE(signedData.readSequence(seq) && seq.readInteger(version) &&
              seq.readOpenType(digestAlgorithms) && seq.readSequence(encap) &&
              encap.readObjId(eContentType) &&
              encap.readConstructed(asn1ContextTag(0, true), explicit0) &&
              explicit0.readOctetString(eContent));
  return CBlob(eContent.data, eContent.numocts);
}

struct TstInfoFields {
  std::string genTime, nonce, serial;
  bool accuracy = false, ordering = false, tsa = false;
  OSUINT32 seconds = 0;
  OSUINT16 millis = 0, micros = 0;
  int tsaType = 0;
};

TstInfoFields decodeTstInfo(const CBlob& der) {
  ASN1BERDecodeBuffer in(der.pbData(), der.cbData());
  ASN1T_TSTInfo tst;
  EXPECT_EQ(0, ASN1C_TSTInfo(in, tst).Decode());
  TstInfoFields f;
  f.genTime = tst.genTime ? tst.genTime : "";
  f.nonce = tst.m.noncePresent ? tst.nonce : "";
  f.serial = tst.serialNumber ? tst.serialNumber : "";
  f.accuracy = tst.m.accuracyPresent;
  f.seconds = tst.accuracy.seconds;
  f.millis = tst.accuracy.millis;
  f.micros = tst.accuracy.micros;
  f.ordering = tst.ordering != 0;
  f.tsa = tst.m.tsaPresent;
  f.tsaType = tst.tsa.t;
  return f;
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
    ASSERT_EQ(0, status) << asn1StatusText(status);
    EXPECT_EQ(toHex(input), toHex(output)) << "DER in, the same DER out";
  }
  // The negative nonce keeps its sign.
  const CBlob der = readFile(vectorPath("req-signserver-sha1-negative-nonce.tsq"));
  ASN1BERDecodeBuffer in(der.pbData(), der.cbData());
  ASN1T_TimeStampReq request;
  ASSERT_EQ(0, ASN1C_TimeStampReq(in, request).Decode());
  EXPECT_STREQ("-0x4CC7C80C", request.nonce);
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
    ASSERT_EQ(0, status) << asn1StatusText(status);
    EXPECT_EQ(toHex(input), toHex(output));
  }
  const CBlob rejection = readFile(vectorPath("resp-rejection-badalg-statustext.tsr"));
  ASN1BERDecodeBuffer in(rejection.pbData(), rejection.cbData());
  ASN1T_TimeStampResp response;
  ASSERT_EQ(0, ASN1C_TimeStampResp(in, response).Decode());
  EXPECT_EQ(2, response.status.status);
  EXPECT_FALSE(response.m.timeStampTokenPresent);
  ASSERT_EQ(1u, response.status.statusString.count);
  EXPECT_STREQ("request contains unknown algorithm",
               *static_cast<const char**>(response.status.statusString.head->data));
  ASSERT_TRUE(response.status.m.failInfoPresent);
  EXPECT_EQ(1u, response.status.failInfo.numbits);
}

TEST(MessageCodec, DecodesTheTstInfoOfRealTokens) {
  const TstInfoFields freetsa = decodeTstInfo(
      tstInfoOf(readFile(vectorPath("tst-freetsa-sha384-micros-ordering-nocerts.der"))));
  EXPECT_EQ("20171218173416.800812Z", freetsa.genTime);
  EXPECT_TRUE(freetsa.accuracy);
  EXPECT_EQ(1u, freetsa.seconds);
  EXPECT_EQ(500u, freetsa.millis);
  EXPECT_EQ(100u, freetsa.micros);
  EXPECT_TRUE(freetsa.ordering);
  EXPECT_TRUE(freetsa.tsa);

  // BER: indefinite lengths throughout, an OCSP response among the revocation data.
  const TstInfoFields exceet =
      decodeTstInfo(tstInfoOf(readFile(vectorPath("tst-exceet-ber-indefinite-ocsprevinfo.der"))));
  EXPECT_EQ("20170210140752.5Z", exceet.genTime);
  EXPECT_EQ(0u, exceet.seconds);
  EXPECT_EQ(100u, exceet.millis);

  const TstInfoFields microsoft =
      decodeTstInfo(tstInfoOf(readFile(vectorPath("tst-microsoft-millis-nshield-signerattr.der"))));
  EXPECT_EQ("20240621071205.884Z", microsoft.genTime);
  EXPECT_EQ(500u, microsoft.millis);

  // The token of a response whose eContent is a constructed OCTET STRING and whose serial is
  // negative.
  const CBlob sigstore = readFile(vectorPath("resp-sigstore-mock-ber-octetstring-negserial.tsr"));
  ASN1BERDecodeBuffer in(sigstore.pbData(), sigstore.cbData());
  ASN1T_TimeStampResp response;
  ASSERT_EQ(0, ASN1C_TimeStampResp(in, response).Decode());
  ASN1BEREncodeBuffer out;
  const int n = ASN1C_TimeStampToken(out, response.timeStampToken).Encode();
  ASSERT_GT(n, 0);
  const TstInfoFields mock =
      decodeTstInfo(tstInfoOf(CBlob(out.getMsgPtr(), static_cast<std::uint32_t>(n))));
  EXPECT_EQ("-0x21524111", mock.serial) << "DEADBEEF read as two's complement";
  EXPECT_EQ(1u, mock.seconds);
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
    ASSERT_TRUE(asn1D_GeneralName(in, name)) << asn1StatusText(ctxt.status);
    EXPECT_TRUE(in.empty());
    DerWriter out(&ctxt);
    asn1E_GeneralName(out, name);
    ASSERT_TRUE(out.ok());
    EXPECT_EQ(toHex(input), toHex(CBlob(out.data(), static_cast<std::uint32_t>(out.size()))));
  }
}

TEST(MessageCodec, DecodesTheAuthenticodeRequestsThatSigningToolsSend) {
  for (const char* name : {"authenticode-tsreq-signtool.der", "authenticode-tsreq-picky.der"}) {
    SCOPED_TRACE(name);
    const CBlob input = readFile(vectorPath(name));
    int status;
    const CBlob output =
        reencode<ASN1T_TimeStampAuthenticodeRequest, ASN1C_TimeStampAuthenticodeRequest>(input,
                                                                                         status);
    ASSERT_EQ(0, status);
    EXPECT_EQ(toHex(input), toHex(output));
  }
  // With attributes: a SET between the identifier and the content.
  const CBlob withAttributes = fromHex(
      "3033 060A2B0601040182370302 01"
      "3110 300E 0603 2A0304 3107 0C05 68656C6C6F"
      "3013 0609 2A864886F70D010701 A006 0404 DEADBEEF");
  int status;
  const CBlob output =
      reencode<ASN1T_TimeStampAuthenticodeRequest, ASN1C_TimeStampAuthenticodeRequest>(
          withAttributes, status);
  ASSERT_EQ(0, status) << asn1StatusText(status);
  EXPECT_EQ(toHex(withAttributes), toHex(output));
}
