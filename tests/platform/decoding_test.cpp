// Messages made by OpenSSL and by real authorities, read and verified through the platform.
#include <string>

#include "outside/asn1rt/ber_reader.h"
#include "tests/platform/platform_fixture.h"

using Zanthorel::BER::BerReader;

namespace platform_test {
namespace {

// The TimeStampToken inside a TimeStampResp.
Bytes tokenOf(const Bytes& response) {
  ASN1CTXT ctxt;
  BerReader in(response.data(), response.size(), &ctxt), resp;
  ASN1OpenType status, token;
  EXPECT_TRUE(in.readSequence(resp) && resp.readOpenType(status) && resp.readOpenType(token));
  return Bytes(token.data, token.data + token.numocts);
}

Bytes vector(const std::string& name) {
  return bytesOf(zttsp_test::readFile(zttsp_test::vectorPath(name)));
}

// Each certificate of the message, tried as the signer: exactly one verifies, the others are
// no signer of it.
void expectOneEmbeddedSignerVerifies(const DecodedMessage& decoded) {
  int verified = 0;
  const DWORD count = decoded.dword(CMSG_CERT_COUNT_PARAM);
  for (DWORD i = 0; i < count; ++i) {
    const HRESULT result = decoded.verify(decoded.param(CMSG_CERT_PARAM, i));
    if (result == S_OK) {
      ++verified;
    } else {
      EXPECT_EQ(CRYPT_E_SIGNER_NOT_FOUND, result);
    }
  }
  EXPECT_EQ(1, verified);
}

TEST(Decoding, OpenSslCmsSignedMessagesDecodeAndVerify) {
  const auto& keys = pki();
  const Bytes content = bytesOf("signed by openssl cms\n");
  zttsp_test::writeFile(keys.dir + "/in.txt", blobOf(content));
  for (const Authority* signer : {&keys.rsa, &keys.ec}) {
    for (const std::string extra : {"", " -noattr", " -md sha512 -nocerts"}) {
      SCOPED_TRACE(signer->name + ".pem" + extra);
      openssl("cms -sign -binary -nodetach -in " + keys.dir + "/in.txt -signer " + signer->name +
              ".pem -inkey " + signer->name + ".key" + extra + " -outform DER -out " + keys.dir +
              "/signed.der");
      DecodedMessage decoded(bytesOf(zttsp_test::readFile(keys.dir + "/signed.der")));
      ASSERT_TRUE(decoded.ok()) << std::hex << decoded.error();
      EXPECT_EQ(content, decoded.param(CMSG_CONTENT_PARAM));
      EXPECT_EQ(bytesOf(std::string(szOID_RSA_data) + '\0'),
                decoded.param(CMSG_INNER_CONTENT_TYPE_PARAM));
      EXPECT_EQ(1u, decoded.dword(CMSG_SIGNER_COUNT_PARAM));
      const bool certs = extra.find("nocerts") == std::string::npos;
      EXPECT_EQ(certs ? 1u : 0u, decoded.dword(CMSG_CERT_COUNT_PARAM));
      if (certs) {
        EXPECT_EQ(bytesOf(signer->certificate), decoded.param(CMSG_CERT_PARAM, 0));
      }
      DWORD size = 0;
      EXPECT_FALSE(
          CryptMsgGetParam(decoded.handle(), CMSG_SIGNER_UNAUTH_ATTR_PARAM, 0, nullptr, &size));
      EXPECT_EQ(static_cast<DWORD>(CRYPT_E_ATTRIBUTES_MISSING), GetLastError());
      if (extra != " -noattr") {
        const std::vector<Attribute> attributes =
            attributesOf(decoded.param(CMSG_SIGNER_AUTH_ATTR_PARAM));
        EXPECT_EQ(szOID_RSA_contentType, attributes.at(0).oid);
        EXPECT_EQ(szOID_RSA_signingTime, attributes.at(1).oid);
        EXPECT_EQ(szOID_RSA_messageDigest, attributes.at(2).oid);
      }
      EXPECT_EQ(S_OK, decoded.verify(bytesOf(signer->certificate)));
      EXPECT_EQ(CRYPT_E_SIGNER_NOT_FOUND, decoded.verify(bytesOf(keys.caCertificate)));
    }
  }
}

// The signer's issuer and serial with the EC authority's key, then with none; a control type that
// does not exist.
TEST(Decoding, VerifyRefusesWhatItCannotUse) {
  const auto& keys = pki();
  CertificateHandle signer(keys.rsa.certificate), other(keys.ec.certificate);
  CERT_INFO forged = *signer.info();
  forged.SubjectPublicKeyInfo = other.info()->SubjectPublicKeyInfo;
  DecodedMessage decoded(signMessage(keys.rsa, bytesOf("key swap")));
  EXPECT_FALSE(CryptMsgControl(decoded.handle(), 0, CMSG_CTRL_VERIFY_SIGNATURE, &forged));
  EXPECT_EQ(static_cast<DWORD>(NTE_BAD_SIGNATURE), GetLastError());
  forged.SubjectPublicKeyInfo.PublicKey = {};
  EXPECT_FALSE(CryptMsgControl(decoded.handle(), 0, CMSG_CTRL_VERIFY_SIGNATURE, &forged));
  EXPECT_EQ(static_cast<DWORD>(CRYPT_E_ASN1_EOD), GetLastError());
  EXPECT_FALSE(CryptMsgControl(decoded.handle(), 0, 0, signer.info()));
  EXPECT_EQ(static_cast<DWORD>(CRYPT_E_CONTROL_TYPE), GetLastError());
}

// Authenticode answers of real authorities, with the legacy countersignatures they carry. (The
// RFC 3161 tokens of real authorities are verified through CToken in the rfc3161 tests.)
TEST(Decoding, AuthorityVectorsVerifyWithTheirCertificates) {
  for (const char* name :
       {"authenticode-tsresp-digicert.p7b", "authenticode-sig-symantec-legacy-countersig.p7b"}) {
    SCOPED_TRACE(name);
    DecodedMessage decoded(vector(name));
    ASSERT_TRUE(decoded.ok()) << std::hex << decoded.error();
    expectOneEmbeddedSignerVerifies(decoded);
  }
  EXPECT_EQ(S_OK, DecodedMessage(tokenOf(vector("resp-bc-md5-accuracy-ordering.tsr")))
                      .verify(vector("cert-bc-test-tsa.der")));
}

TEST(Decoding, VectorQuirksAreHandled) {
  // Constructed OCTET STRING eContent: handed out as one primitive OCTET STRING.
  DecodedMessage ber(tokenOf(vector("resp-sigstore-mock-ber-octetstring-negserial.tsr")));
  const Bytes content = ber.param(CMSG_CONTENT_PARAM);
  EXPECT_EQ(0x04, content.at(0));
  EXPECT_EQ(0x30, content.at(content[1] < 0x80 ? 2 : 2 + (content[1] & 0x7F)));

  // Only the X.509 choices count: the nCipher attribute certificate and the exceet OCSP
  // response are skipped.
  DecodedMessage ncipher(tokenOf(vector("resp-ncipher-v1attrcert-millis.tsr")));
  EXPECT_EQ(1u, ncipher.dword(CMSG_CERT_COUNT_PARAM));
  EXPECT_EQ(0x30, ncipher.param(CMSG_CERT_PARAM, 0).at(0));
  DWORD size = 0;
  EXPECT_FALSE(CryptMsgGetParam(ncipher.handle(), CMSG_CERT_PARAM, 1, nullptr, &size));
  EXPECT_EQ(static_cast<DWORD>(CRYPT_E_INVALID_INDEX), GetLastError());
  DecodedMessage exceet(vector("tst-exceet-ber-indefinite-ocsprevinfo.der"));
  EXPECT_EQ(0u, exceet.dword(CMSG_CRL_COUNT_PARAM));

  // The ECDSA signature with negative r and s does not verify.
  DecodedMessage invalid(tokenOf(vector("resp-sigstage-ecdsa-invalid-signature.tsr")));
  ASSERT_TRUE(invalid.ok());
  EXPECT_EQ(NTE_BAD_SIGNATURE, invalid.verify(invalid.param(CMSG_CERT_PARAM, 0)));

  // The Authenticode signature: PKCS #7 content placed under [0] as it is.
  DecodedMessage authenticode(vector("authenticode-sig-symantec-legacy-countersig.p7b"));
  EXPECT_EQ(0x30, authenticode.param(CMSG_CONTENT_PARAM).at(0));
  EXPECT_EQ(bytesOf("1.3.6.1.4.1.311.2.1.4" + std::string(1, '\0')),
            authenticode.param(CMSG_INNER_CONTENT_TYPE_PARAM));
  EXPECT_EQ(1u, attributesOf(authenticode.param(CMSG_SIGNER_UNAUTH_ATTR_PARAM)).size());

  // PE padding after the message is ignored.
  Bytes padded = vector("authenticode-tsresp-digicert.p7b");
  padded.insert(padded.end(), 7, 0x00);
  DecodedMessage withPadding(padded);
  EXPECT_TRUE(withPadding.ok());
  expectOneEmbeddedSignerVerifies(withPadding);
}

TEST(Decoding, MalformedInputFailsWithTheWindowsCodes) {
  const Bytes message = signMessage(pki().ec, bytesOf("malformed"));
  const Bytes signedDataType = {0x06, 0x09, 0x2A, 0x86, 0x48, 0x86, 0xF7, 0x0D, 0x01, 0x07, 0x02};
  Bytes emptyContent = {0x30, 0x0D};
  emptyContent.insert(emptyContent.end(), signedDataType.begin(), signedDataType.end());
  emptyContent.insert(emptyContent.end(), {0xA0, 0x00});
  Bytes dataMessage = {0x30, 0x0F, 0x06, 0x09, 0x2A, 0x86, 0x48, 0x86, 0xF7,
                       0x0D, 0x01, 0x07, 0x01, 0xA0, 0x02, 0x04, 0x00};
  const std::pair<Bytes, HRESULT> cases[] = {
      {{}, CRYPT_E_ASN1_EOD},
      {{0x30}, CRYPT_E_ASN1_CORRUPT},
      {{0x02, 0x01, 0x00}, CRYPT_E_ASN1_BADTAG},
      {Bytes(message.begin(), message.begin() + 40), CRYPT_E_ASN1_EOD},
      {emptyContent, CRYPT_E_ASN1_CORRUPT},
      {dataMessage, CRYPT_E_INVALID_MSG_TYPE},
  };
  for (const auto& [bytes, expected] : cases) {
    DecodedMessage decoded(bytes);
    EXPECT_FALSE(decoded.ok());
    EXPECT_EQ(static_cast<DWORD>(expected), decoded.error()) << zttsp_test::hresultText(expected);
    DWORD size = 0;
    EXPECT_FALSE(CryptMsgGetParam(decoded.handle(), CMSG_CONTENT_PARAM, 0, nullptr, &size));
    EXPECT_FALSE(CryptMsgUpdate(decoded.handle(), message.data(), 1, TRUE));
    EXPECT_EQ(static_cast<DWORD>(CRYPT_E_MSG_ERROR), GetLastError());
  }

  // The bare SignedData: refused as a ContentInfo, read with CMSG_SIGNED.
  const Bytes bare(message.begin() + 17, message.end());  // 30 82 xx xx, OID, A0 82 xx xx
  EXPECT_EQ(static_cast<DWORD>(CRYPT_E_ASN1_BADTAG), DecodedMessage(bare).error());
  DecodedMessage typed(bare, CMSG_SIGNED);
  EXPECT_TRUE(typed.ok());
  EXPECT_EQ(bytesOf("malformed"), typed.param(CMSG_CONTENT_PARAM));
  EXPECT_EQ(CMSG_SIGNED, typed.dword(CMSG_TYPE_PARAM));
}

}  // namespace
}  // namespace platform_test
