// CToken::decode and CToken::verify against tokens made by openssl and by real authorities, and
// against tokens changed bit by bit.
#include <gtest/gtest.h>

#include <optional>
#include <string>

#include "outside/asn1/signed_data.h"
#include "rfc3161/request.h"
#include "rfc3161/token.h"
#include "sdk/win32.h"
#include "tests/support/test_support.h"
#include "tests/support/tsa_fixture.h"

using namespace Zanthorel::PKI::TSP;
using tsa_test::pki;
using tsa_test::shell;
using Zanthorel::CBlob;
using Zanthorel::CBlobList;
using Zanthorel::ASN1::CAttribute;
using Zanthorel::ASN1::CAttributes;
using Zanthorel::ASN1::CBigInteger;
using Zanthorel::ASN1::CSignerInfo;
using zttsp_test::fromHex;
using zttsp_test::readFile;
using zttsp_test::toHex;
using zttsp_test::vectorPath;

namespace {

#ifdef _WIN32
// Wine verifies no ECDSA signer, checks signed attributes over their DER re-sorting, not as
// received, and hands the signer out re-encoded, its attributes sorted (docs/wine-differences.md).
constexpr bool kVerifiesEcdsa = false;
constexpr bool kVerifiesUnsortedAttributes = false;
constexpr bool kKeepsUnsortedAttributes = false;
#else
constexpr bool kVerifiesEcdsa = true;
constexpr bool kVerifiesUnsortedAttributes = true;
constexpr bool kKeepsUnsortedAttributes = true;
#endif

const char kSigningCertificate[] = "1.2.840.113549.1.9.16.2.12";
const char kSigningCertificateV2[] = "1.2.840.113549.1.9.16.2.47";

bool has(const CAttributes* attributes, const char* oid) {
  return attributes != nullptr && attributes->find(oid) != attributes->end();
}

// How many of the token's own certificates verify it.
int signersAmong(const CToken& token) {
  int signers = 0;
  if (token.get_certificates() != nullptr) {
    for (const CBlob& certificate : *token.get_certificates())
      signers += token.verify(certificate) ? 1 : 0;
  }
  return signers;
}

}  // namespace

TEST(TokenDecoding, ReadsOpensslTokensOfRsaAndEcAuthorities) {
  const struct {
    const tsa_test::Authority& authority;
    bool cert;
    bool nonce;
  } cases[] = {{pki().rsa, true, true},
               {pki().rsa, false, false},
               {pki().ec, true, false},
               {pki().ec, false, true}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.authority.name + (c.cert ? " with certificate" : "") +
                 (c.nonce ? " with nonce" : ""));
    const CBlob der = tsa_test::opensslToken(c.authority, c.cert, c.nonce);
    CRequest request;
    request.decode(readFile(pki().dir + "/request.tsq"));

    // The TSTInfo mapping has tests of its own: here, that decode reaches it.
    CToken token;
    token.decode(der);
    EXPECT_TRUE(der == token.encode()) << "the input, byte for byte";
    EXPECT_TRUE(request.get_hashedMessage() == token.get_hashedMessage());
    ASSERT_EQ(c.nonce, token.get_nonce() != nullptr);
    if (c.nonce) {
      EXPECT_EQ(*request.get_nonce(), *token.get_nonce());
    }
    EXPECT_TRUE(has(token.get_signedAttributes(), kSigningCertificateV2));
    ASSERT_EQ(c.cert, token.get_certificates() != nullptr);
    if (c.cert) {
      EXPECT_TRUE(c.authority.certificate == token.get_certificates()->front());
    }
    EXPECT_EQ(&c.authority == &pki().rsa || kVerifiesEcdsa, token.verify(c.authority.certificate));
    EXPECT_FALSE(token.verify(pki().other.certificate));
    const CBlob garbage = fromHex("30030201");
    EXPECT_HRESULT(tsa_test::certificateError(garbage), token.verify(garbage));
  }
}

TEST(TokenDecoding, ReadsTheTokensOfRealAuthorities) {
  const struct {
    const char* file;
    const char* policy;
    const char* hashAlgorithm;
    const char* serial;
    const char* genTime;
    std::optional<CAccuracy> accuracy;
    bool ordering;
    const char* nonce;
    bool extensions;
    std::size_t certificates;
    const char* essAttribute;
  } cases[] = {
      {"tst-comodo-sha1-from-authenticode.der", "1.3.6.1.4.1.6449.2.1.1", "1.3.14.3.2.26",
       "0xB6FF4705B62D15AC3F5DD9CF9D5435567CC16E8B", "20140728085003Z", std::nullopt, false,
       nullptr, false, 1, kSigningCertificate},
      {"tst-digicert-unsorted-signedattrs.der", "2.16.840.1.114412.7.1", "2.16.840.1.101.3.4.2.1",
       "0x4E640CDE5C761BFF32FA0ADEA58C5F56", "20180717161721Z", std::nullopt, false,
       "0x457A3006B9483730D09772076C4B74BDF8", false, 2, kSigningCertificate},
      {"tst-exceet-ber-indefinite-ocsprevinfo.der", "1.3.6.1.4.1.12655.3.2",
       "2.16.840.1.101.3.4.2.1", "0x802B413B0000015A2859FDD9FB2B359B", "20170210140752.5Z",
       CAccuracy(0, 100, 0), false, "0xBAD116079B975F2FD5BF893EE7A95426", true, 2,
       kSigningCertificate},
      {"tst-freetsa-sha384-micros-ordering-nocerts.der", "1.2.3.4.1", "2.16.840.1.101.3.4.2.2",
       "0x064F64", "20171218173416.800812Z", CAccuracy(1, 500, 100), true, "0x9631D170EA3B92D4",
       false, 0, kSigningCertificate},
      {"tst-microsoft-millis-nshield-signerattr.der", "1.3.6.1.4.1.601.10.3.1",
       "2.16.840.1.101.3.4.2.1", "0x667043C04AEC", "20240621071205.884Z", CAccuracy(0, 500, 0),
       false, "0x15AAAB578C28473B48F1B38279021D750060F432", false, 2, kSigningCertificateV2},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.file);
    const CBlob der = readFile(vectorPath(c.file));
    CToken token;
    token.decode(der);
    EXPECT_TRUE(der == token.encode());
    EXPECT_STREQ(c.policy, token.get_policy());
    EXPECT_STREQ(c.hashAlgorithm, token.get_hashAlgorithm().get_algorithm());
    EXPECT_EQ(CBigInteger(c.serial), token.get_serialNumber());
    EXPECT_STREQ(c.genTime, token.get_genTimeZ());
    ASSERT_EQ(c.accuracy.has_value(), token.get_accuracy() != nullptr);
    if (c.accuracy) {
      EXPECT_EQ(*c.accuracy, *token.get_accuracy());
    }
    EXPECT_EQ(c.ordering, token.get_ordering());
    ASSERT_EQ(c.nonce != nullptr, token.get_nonce() != nullptr);
    if (c.nonce) {
      EXPECT_EQ(CBigInteger(c.nonce), *token.get_nonce());
    }
    EXPECT_EQ(c.extensions, token.get_extensions() != nullptr);
    EXPECT_TRUE(has(token.get_signedAttributes(), c.essAttribute));
    EXPECT_EQ(nullptr, token.get_unsignedAttributes());

    // Certificates as the message orders them; none is no list.
    const tsa_test::TokenLayout layout = tsa_test::layoutOf(der);
    ASSERT_EQ(c.certificates != 0, token.get_certificates() != nullptr);
    EXPECT_EQ(c.certificates, layout.certificates.size());
    if (c.certificates != 0) {
      EXPECT_TRUE(layout.certificates == *token.get_certificates());
    }
    if (c.certificates != 0) {
      const bool unsorted = std::string(c.file).find("unsorted") != std::string::npos;
      EXPECT_EQ(!unsorted || kVerifiesUnsortedAttributes ? 1 : 0, signersAmong(token));
    }
  }

  // Signed attributes in the order received: DigiCert's are not in DER order.
  CToken digicert;
  digicert.decode(readFile(vectorPath("tst-digicert-unsorted-signedattrs.der")));
  std::string order;
  for (const CAttribute& attribute : *digicert.get_signedAttributes())
    order += std::string(order.empty() ? "" : " ") + attribute.get_oid();
  EXPECT_EQ(kKeepsUnsortedAttributes,
            order.find(szOID_RSA_messageDigest) < order.find(kSigningCertificate))
      << order;

  // A token without certificates verifies with its authority's, from elsewhere.
  CToken freeTsa;
  freeTsa.decode(readFile(vectorPath("tst-freetsa-sha384-micros-ordering-nocerts.der")));
  // openssl x509 takes the chain's first certificate: the authority's.
  shell("openssl x509 -in '" + vectorPath("cert-freetsa-chain.pem") +
        "' -outform DER -out freetsa.der");
  EXPECT_TRUE(freeTsa.verify(readFile(pki().dir + "/freetsa.der")));
  CToken comodo;
  comodo.decode(readFile(vectorPath("tst-comodo-sha1-from-authenticode.der")));
  EXPECT_TRUE(comodo.verify(readFile(vectorPath("cert-comodo-ts-signer.der"))));
}

TEST(TokenDecoding, ReadsTstInfoThatIsNoOctetString) {
  // The PKCS #7 form puts the TSTInfo itself under [0]: rewrite an openssl token that way.
  const CBlob cms = tsa_test::opensslToken(pki().rsa, false);
  ASN1BERDecodeBuffer in(cms.pbData(), cms.cbData());
  ASN1T_ContentInfo contentInfo;
  ASSERT_EQ(0, ASN1C_ContentInfo(in, contentInfo).Decode());
  ASN1BERDecodeBuffer signedIn(contentInfo.content.data, contentInfo.content.numocts);
  ASN1T_SignedData signedData;
  ASSERT_EQ(0, ASN1C_SignedData(signedIn, signedData).Decode());
  ASN1OpenType& content = signedData.encapContentInfo.content;
  ASSERT_EQ(0x04, content.data[0]);
  const unsigned header = content.data[1] < 0x80 ? 2 : 2 + (content.data[1] & 0x7F);
  content.numocts -= header;
  content.data += header;
  ASN1BEREncodeBuffer signedOut, out;
  const int signedLength = ASN1C_SignedData(signedOut, signedData).Encode();
  ASSERT_GT(signedLength, 0);
  contentInfo.content = {static_cast<OSUINT32>(signedLength), signedOut.getMsgPtr()};
  const int length = ASN1C_ContentInfo(out, contentInfo).Encode();
  ASSERT_GT(length, 0);
  const CBlob pkcs7(out.getMsgPtr(), static_cast<std::uint32_t>(length));

  CToken expected, token;
  expected.decode(cms);
  token.decode(pkcs7);
  EXPECT_TRUE(pkcs7 == token.encode());
  EXPECT_EQ(expected.get_serialNumber(), token.get_serialNumber());
  EXPECT_EQ(*expected.get_nonce(), *token.get_nonce());

#ifndef _WIN32
  // Its messageDigest still covers the whole TSTInfo, as a CMS signer (and Wine) computes it,
  // not the value octets that PKCS #7 digests: both readings are accepted, nothing else is.
  // Wine compares no messageDigest at all (docs/wine-differences.md).
  EXPECT_TRUE(token.verify(pki().rsa.certificate));
  CBlob changed = pkcs7;
  const tsa_test::Span tstInfo = tsa_test::layoutOf(pkcs7).content;
  changed.pbData()[tstInfo.offset + tstInfo.length - 1] ^= 0x01;  // in the TSA name
  CToken forged;
  forged.decode(changed);
  EXPECT_FALSE(forged.verify(pki().rsa.certificate));
#endif
}

TEST(TokenDecoding, RefusesOtherContentAndAnswersFalseForTwoSigners) {
  // A SignedData of data: CRYPT_E_BAD_MSG once the content type is read, before the signer.
  shell(
      "openssl cms -sign -nodetach -binary -in data.txt -signer rsa.pem -inkey rsa.key "
      "-outform DER -out data.p7");
  const CBlob data = readFile(pki().dir + "/data.p7");
  CToken token;
  EXPECT_HRESULT(CRYPT_E_BAD_MSG, token.decode(data));
  EXPECT_TRUE(data == token.encode()) << "the input is kept";
  EXPECT_HRESULT(E_FAIL, token.verify(pki().rsa.certificate));
  EXPECT_EQ(CSignerInfo::none, token.get_signerInfo().get_sidType());
  EXPECT_STREQ("", token.get_policy());

  // The same TSTInfo signed by two authorities: signer 0 is read, verify says false.
  tsa_test::opensslToken(pki().rsa, true);
  shell(
      "openssl cms -verify -noverify -inform DER -in token.der -binary -out tstinfo.der && "
      "openssl cms -sign -nodetach -binary -econtent_type 1.2.840.113549.1.9.16.1.4 -in "
      "tstinfo.der -signer rsa.pem -inkey rsa.key -signer ec.pem -inkey ec.key -outform DER "
      "-out two.p7");
  const CBlob two = readFile(pki().dir + "/two.p7");
#ifdef _WIN32
  // Wine's CryptMsgUpdate refuses a SignedData of two signers (docs/wine-differences.md).
  EXPECT_THROW(token.decode(two), ATL::CAtlException);
#else
  token.decode(two);
  const tsa_test::TokenLayout layout = tsa_test::layoutOf(two);
  EXPECT_EQ(2u, layout.signers);
  EXPECT_TRUE(CBlob(two.pbData() + layout.signature.offset,
                    static_cast<std::uint32_t>(layout.signature.length)) ==
              token.get_signerInfo().get_signature());
  EXPECT_STREQ(tsa_test::Pki::kPolicy, token.get_policy());
  EXPECT_FALSE(token.verify(pki().rsa.certificate));
  EXPECT_FALSE(token.verify(pki().other.certificate));
#endif

  // What is no message at all: the platform's error, the input kept, no message held.
  const CBlob cut(two.pbData(), 100);
  EXPECT_LT(zttsp_test::hresultOf([&] { token.decode(cut); }), 0);
  EXPECT_TRUE(cut == token.encode());
  EXPECT_HRESULT(E_FAIL, token.verify(pki().rsa.certificate));
}

TEST(TokenDecoding, DecodingIntoASignedTokenLeavesItsCopiesTheirMessage) {
  const auto signer = tsa_test::rsaSigner();
  CToken token = tsa_test::tokenFor(pki().rsa, "stamped data");
  token.sign(signer.provider(), signer.keySpec(), signer.certificate(), tsa_test::sha256());
  const CBlob signedBytes = token.encode();
  const CToken copy = token;

  const CBlob other = tsa_test::opensslToken(pki().other, true);
  token.decode(other);
  EXPECT_TRUE(other == token.encode());
  EXPECT_TRUE(token.verify(pki().other.certificate));
  // The copy still holds the signed message, one opened to encode, which counts no signers.
  EXPECT_HRESULT(CRYPT_E_INVALID_MSG_TYPE, copy.verify(pki().rsa.certificate));
#ifndef _WIN32
  // Wine reads freed memory when a signed message is encoded again (docs/wine-differences.md).
  EXPECT_TRUE(signedBytes == copy.encode());
#endif
  token.decode(signedBytes);
  EXPECT_TRUE(token.verify(pki().rsa.certificate));
  EXPECT_TRUE(signedBytes == token.encode());
}

#ifndef _WIN32
// Wine does not compare the messageDigest with the content (docs/wine-differences.md): there a
// changed TSTInfo verifies under an intact signature.
TEST(TokenDecoding, NoSingleBitFlipInWhatTheSignatureCoversVerifies) {
  const CBlob der = tsa_test::opensslToken(pki().ec, false);
  const tsa_test::TokenLayout layout = tsa_test::layoutOf(der);
  const CBlob& certificate = pki().ec.certificate;
  CToken token;
  token.decode(der);
  ASSERT_TRUE(token.verify(certificate));

  int refused = 0, unverified = 0;
  for (const tsa_test::Span& span : {layout.content, layout.signedAttributes, layout.signature}) {
    ASSERT_GT(span.length, 0u);
    for (std::size_t bit = 0; bit < span.length * 8; ++bit) {
      CBlob flipped = der;
      flipped.pbData()[span.offset + bit / 8] ^= static_cast<std::uint8_t>(1u << (bit % 8));
      const HRESULT hr = zttsp_test::hresultOf([&] { token.decode(flipped); });
      if (hr != S_OK) {
        ++refused;
        continue;
      }
      const bool verified = token.verify(certificate);
      EXPECT_FALSE(verified) << "bit " << bit << " at " << span.offset;
      unverified += verified ? 0 : 1;
    }
  }
  EXPECT_GT(refused, 0);
  EXPECT_GT(unverified, refused) << "most flips decode and fail the check";
}
#else
TEST(TokenDecoding, WineVerifiesAChangedTstInfoUnderAnIntactSignature) {
  const CBlob der = tsa_test::opensslToken(pki().rsa, false);
  const tsa_test::TokenLayout layout = tsa_test::layoutOf(der);
  CBlob changed = der;
  changed.pbData()[layout.content.offset + layout.content.length - 1] ^= 1;  // in the TSA name
  CToken token;
  token.decode(changed);
  EXPECT_TRUE(token.verify(pki().rsa.certificate));
  changed.pbData()[layout.signature.offset] ^= 1;
  token.decode(changed);
  EXPECT_FALSE(token.verify(pki().rsa.certificate));
}
#endif
