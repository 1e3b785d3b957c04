// Messages made by OpenSSL and by real authorities, read and verified through the platform.
#include <string>

#include "outside/ztasn1/octet_string.h"
#include "tests/support/platform_messages.h"
#include "tests/support/vectors.h"

namespace platform_test {
namespace {

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

// The signer's issuer and serial without a key; a control type that does not exist. (Another
// signer's key is a row of the hostile catalogue.)
TEST(Decoding, VerifyRefusesWhatItCannotUse) {
  CertificateHandle signer(pki().rsa.certificate);
  CERT_INFO forged = *signer.info();
  DecodedMessage decoded(signMessage(pki().rsa, bytesOf("no key")));
  forged.SubjectPublicKeyInfo.PublicKey = {};
  EXPECT_FALSE(CryptMsgControl(decoded.handle(), 0, CMSG_CTRL_VERIFY_SIGNATURE, &forged));
  EXPECT_EQ(static_cast<DWORD>(CRYPT_E_ASN1_EOD), GetLastError());
  EXPECT_FALSE(CryptMsgControl(decoded.handle(), 0, 0, signer.info()));
  EXPECT_EQ(static_cast<DWORD>(CRYPT_E_CONTROL_TYPE), GetLastError());
}

// Every signed message of the table of vectors, with padding after it as a PE file holds it: the
// counts Windows gives (only X.509 choices are certificates, and no vector has an X.509 CRL), a
// token's TSTInfo handed out in one primitive OCTET STRING however it was sent, and exactly one
// certificate of the signer's file verifying it. Every certificate of the table makes a context.
TEST(Decoding, EveryVectorDecodesAndVerifiesAsTheTableSays) {
  using K = zttsp_test::VectorKind;
  for (const zttsp_test::Vector& v : zttsp_test::vectors()) {
    SCOPED_TRACE(v.file);
    if (v.kind == K::certificate) {
      for (const Zanthorel::CBlob& certificate : zttsp_test::certificatesIn(v.file))
        EXPECT_NO_THROW(CertificateHandle{certificate});
    }
    const Zanthorel::CBlob message = v.token();
    if (message.empty()) continue;
    Bytes padded = bytesOf(message);
    padded.insert(padded.end(), 7, 0x00);
    DecodedMessage decoded(padded);
    ASSERT_TRUE(decoded.ok()) << std::hex << decoded.error();
    EXPECT_EQ(1u, decoded.dword(CMSG_SIGNER_COUNT_PARAM));
    EXPECT_EQ(tsa_test::layoutOf(message).certificates.size(),
              decoded.dword(CMSG_CERT_COUNT_PARAM));
    EXPECT_EQ(0u, decoded.dword(CMSG_CRL_COUNT_PARAM));
    const Bytes innerType = decoded.param(CMSG_INNER_CONTENT_TYPE_PARAM);
    if (v.kind == K::msStamp) {
      EXPECT_EQ(bytesOf(std::string(szOID_RSA_data) + '\0'), innerType);
    } else if (v.kind == K::msSignature) {
      // SpcIndirectDataContent placed under [0] as it is, with the legacy countersignature.
      EXPECT_EQ(bytesOf("1.3.6.1.4.1.311.2.1.4" + std::string(1, '\0')), innerType);
      EXPECT_EQ(0x30, decoded.param(CMSG_CONTENT_PARAM).at(0));
      EXPECT_EQ(1u, attributesOf(decoded.param(CMSG_SIGNER_UNAUTH_ATTR_PARAM)).size());
    } else {
      EXPECT_EQ(bytesOf(std::string(szOID_TIMESTAMP_TOKEN) + '\0'), innerType);
      EXPECT_EQ(bytesOf(Zanthorel::ASN1::toOctetString(tsa_test::tstInfoOf(message))),
                decoded.param(CMSG_CONTENT_PARAM));
    }
    int verified = 0, badSignature = 0;
    for (const Zanthorel::CBlob& certificate :
         zttsp_test::certificatesIn(v.signer ? v.signer : v.file)) {
      const HRESULT result = decoded.verify(bytesOf(certificate));
      verified += result == S_OK ? 1 : 0;
      badSignature += result == NTE_BAD_SIGNATURE ? 1 : 0;
      if (result != S_OK && result != NTE_BAD_SIGNATURE) {
        EXPECT_EQ(CRYPT_E_SIGNER_NOT_FOUND, result);
      }
    }
    EXPECT_EQ(v.has(zttsp_test::kBadSignature) ? 0 : 1, verified);
    EXPECT_EQ(v.has(zttsp_test::kBadSignature) ? 1 : 0, badSignature);
  }
}

// (Malformed input and the codes Windows gives for it are rows of the hostile catalogue.)
TEST(Decoding, ReadsTheBareSignedDataWhenToldItsType) {
  const Bytes message = signMessage(pki().ec, bytesOf("malformed"));
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
