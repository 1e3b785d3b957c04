// CToken::sign and CToken::encode: what the signed message carries, checked by openssl, and the
// states that signing and its failures leave.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>

#include "rfc3161/token.h"
#include "sdk/win32.h"
#include "tests/support/test_support.h"
#include "tests/support/tsa_fixture.h"

using namespace Zanthorel::PKI::TSP;
using tsa_test::pki;
using tsa_test::sha256;
using tsa_test::shell;
using Zanthorel::CBlob;
using Zanthorel::CBlobList;
using Zanthorel::CDateTime;
using Zanthorel::ASN1::CAlgorithmIdentifierEx;
using Zanthorel::ASN1::CAttribute;
using Zanthorel::ASN1::CAttributes;
using Zanthorel::ASN1::CBigInteger;
using Zanthorel::ASN1::CExtension;
using Zanthorel::ASN1::CExtensions;
using Zanthorel::ASN1::CGeneralName;
using Zanthorel::ASN1::CSignerInfo;
using zttsp_test::fromHex;
using zttsp_test::toHex;

namespace {

CToken bareToken() {
  return CToken(tsa_test::Pki::kPolicy, sha256(), tsa_test::sha256Of(zttsp_test::blobOf("data")),
                CBigInteger("0x01"), CDateTime("20260621071205Z"), false);
}

CAttribute attribute(const char* oid, std::initializer_list<const char*> hexValues) {
  CAttribute result(oid);
  for (const char* hex : hexValues)
    result.add(fromHex(hex));
  return result;
}

// The signed token decoded again, as a client would read it. Right after sign only, in the
// Windows build (see WineReadsTheSignerCertificateAgainOnEveryEncode).
CToken reread(const CToken& token) {
  CToken decoded;
  decoded.decode(token.encode());
  return decoded;
}

// The attribute identifiers of `attributes` (none for null), in order.
std::string oidsOf(const CAttributes* attributes) {
  std::string oids;
  if (attributes != nullptr) {
    for (const CAttribute& a : *attributes)
      oids += std::string(oids.empty() ? "" : " ") + a.get_oid();
  }
  return oids;
}

// The serial number openssl reads from the certificate `name`.pem in the PKI's folder.
CBigInteger serialOf(const std::string& name) {
  const std::string out = shell("openssl x509 -noout -serial -in " + name + ".pem");
  return CBigInteger(
      ("0x" + out.substr(out.find('=') + 1, out.find('\n') - out.find('=') - 1)).c_str());
}

void expectSignerIs(const std::string& name, const char* digestOid, const CSignerInfo& signer) {
  EXPECT_EQ(CSignerInfo::issuerAndSerialNumber, signer.get_sidType());
  EXPECT_EQ(serialOf(name), signer.get_serialNumber());
  EXPECT_STREQ(digestOid, signer.get_digestAlgorithm().get_algorithm());
  EXPECT_FALSE(signer.get_signature().empty());
}

}  // namespace

#ifndef _WIN32
// Wine writes the TSTInfo bare (PKCS #7 form), which `openssl ts` refuses
// (docs/wine-differences.md); the Windows build checks that form below.
TEST(TokenSigning, OpensslVerifiesTokensOfRsaAndP256Authorities) {
  const auto rsa = tsa_test::rsaSigner();
  const auto ec = tsa_test::ecSigner();
  const struct {
    const tsa_test::Authority& authority;
    HCRYPTPROV provider;
    DWORD keySpec;
  } cases[] = {{pki().rsa, rsa.provider(), rsa.keySpec()}, {pki().ec, ec.provider(), 0}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.authority.name);
    CToken token = tsa_test::tokenFor(c.authority, "stamped data");
    token.sign(c.provider, c.keySpec, c.authority.certificate, sha256());
    zttsp_test::writeFile(pki().dir + "/token.der", token.encode());

    const std::string digest = toHex(token.get_hashedMessage());
    EXPECT_NE(std::string::npos, shell("openssl ts -verify -token_in -in token.der -digest " +
                                       digest + " -CAfile ca.pem")
                                     .find("Verification: OK"));
    const std::string text = shell("openssl ts -reply -token_in -in token.der -text");
    for (const std::string& line : std::initializer_list<std::string>{
             "Policy OID: 1.3.6.1.4.1.99999.7.1", "Serial number: 0x0A1B2C3D4E5F",
             "Time stamp: Jun 21 07:12:05.884 2026 GMT",
             "Accuracy: 0x01 seconds, 0x01F4 millis, 0x64 micros", "Ordering: yes",
             "Nonce: 0xF61FEBA1020F7317",
             "TSA: DirName:/O=Zanthorel Test/CN=" + c.authority.name}) {
      EXPECT_NE(std::string::npos, text.find(line)) << line << "\n" << text;
    }
    expectSignerIs(c.authority.name, "2.16.840.1.101.3.4.2.1", token.get_signerInfo());
    EXPECT_TRUE(reread(token).verify(c.authority.certificate));
  }

  // Every field a TSTInfo can carry, each as OpenSSL's time-stamp code shows it.
  CToken token("1.3.6.1.4.1.99999.7.2",
               CAlgorithmIdentifierEx("2.16.840.1.101.3.4.2.3", fromHex("0500")),
               fromHex(std::string(126, 'A') + "01"),
               CBigInteger("0x7FEDCBA9876543210FEDCBA98765432100112233"),
               CDateTime("20240621071205.884Z"), true);
  const CAccuracy accuracy(2, 0, 250);
  const CBigInteger nonce("0x0123456789ABCDEF0123");
  const CGeneralName tsa(CGeneralName::uniformResourceIdentifier, "http://tsa.example/");
  CExtensions extensions;
  extensions.push_back(CExtension("1.2.3.4.5", true, fromHex("0500")));
  token.put_accuracy(&accuracy);
  token.put_nonce(&nonce);
  token.put_tsa(&tsa);
  token.put_extensions(&extensions);
  token.sign(rsa.provider(), rsa.keySpec(), rsa.certificate(), sha256());
  zttsp_test::writeFile(pki().dir + "/token.der", token.encode());
  const std::string shown = shell("openssl ts -reply -token_in -in token.der -text");
  for (const char* line :
       {"Version: 1\n", "Policy OID: 1.3.6.1.4.1.99999.7.2\n", "Hash Algorithm: sha512\n",
        "0030 - aa aa aa aa aa aa aa aa-aa aa aa aa aa aa aa 01",
        "Serial number: 0x7FEDCBA9876543210FEDCBA98765432100112233\n",
        "Time stamp: Jun 21 07:12:05.884 2024 GMT\n",
        "Accuracy: 0x02 seconds, unspecified millis, 0xFA micros\n", "Ordering: yes\n",
        "Nonce: 0x0123456789ABCDEF0123\n", "TSA: URI:http://tsa.example/\n",
        "1.2.3.4.5: critical"}) {
    EXPECT_NE(std::string::npos, shown.find(line)) << line << "\n" << shown;
  }
}
#endif

#ifdef _WIN32
// Wine ignores CMSG_CMS_ENCAPSULATED_CONTENT_FLAG (docs/wine-differences.md).
TEST(TokenSigning, WineWritesTheTstInfoUnwrappedInVersion1SignedData) {
#else
TEST(TokenSigning, WrapsTheTstInfoInAnOctetStringInVersion3SignedData) {
#endif
  const auto signer = tsa_test::rsaSigner();
  CToken token = tsa_test::tokenFor(pki().rsa, "stamped data");
  token.sign(signer.provider(), signer.keySpec(), signer.certificate(), sha256());
  const CBlob encoded = token.encode();

  const tsa_test::TokenLayout layout = tsa_test::layoutOf(encoded);
  EXPECT_EQ("1.2.840.113549.1.9.16.1.4", layout.contentType);
  EXPECT_EQ(1u, layout.signers);
#ifdef _WIN32
  EXPECT_EQ(1, layout.version);
  EXPECT_EQ(0x30, encoded.pbData()[layout.content.offset]);
#else
  EXPECT_EQ(3, layout.version);
  EXPECT_EQ(0x04, encoded.pbData()[layout.content.offset]);
#endif
}

TEST(TokenSigning, PassesOnlyTheListsItHoldsAndKeepsTheirOrder) {
  const auto signer = tsa_test::rsaSigner();

  // Absent and present-but-empty lists alike: no attribute of the caller's, no certificate,
  // although the signer's certificate was given.
  for (const bool emptyLists : {false, true}) {
    SCOPED_TRACE(emptyLists ? "empty lists" : "absent lists");
    CToken token = bareToken();
    if (emptyLists) {
      const CAttributes none;
      const CBlobList noCertificates;
      token.put_signedAttributes(&none);
      token.put_unsignedAttributes(&none);
      token.put_certificates(&noCertificates);
    }
    token.sign(signer.provider(), signer.keySpec(), signer.certificate(), sha256());
    const CToken decoded = reread(token);
    EXPECT_EQ(nullptr, decoded.get_certificates());
    EXPECT_EQ(nullptr, decoded.get_unsignedAttributes());
    // A non-data content gets contentType and messageDigest from the platform all the same.
    const std::string added = oidsOf(decoded.get_signedAttributes());
    EXPECT_TRUE(added.empty() ||
                added == std::string(szOID_RSA_contentType) + " " + szOID_RSA_messageDigest)
        << added;
  }

  // Certificates and unsigned attributes in the order given, and every value of an attribute.
  // Signed attributes, and the values of any attribute, are DER SETs, which the platform sorts.
  CToken token = bareToken();
  CAttributes signedAttributes;
  // Seven values each: the parameter blocks must not move them while they are in use.
  signedAttributes.push_back(
      attribute("1.2.3.7", {"020101", "020102", "020103", "020104", "020105", "020106", "020107"}));
  signedAttributes.push_back(tsa_test::essSigningCertificateV2(pki().rsa.certificate));
  CAttributes unsignedAttributes;
  unsignedAttributes.push_back(attribute("1.2.3.9", {"0500"}));
  unsignedAttributes.push_back(
      attribute("1.2.3.1", {"0C0161", "0C0162", "0C0163", "0C0164", "0C0165", "0C0166", "0C0167"}));
  CBlobList certificates;
  certificates.push_back(pki().rsa.certificate);
  certificates.push_back(pki().caCertificate);
  token.put_signedAttributes(&signedAttributes);
  token.put_unsignedAttributes(&unsignedAttributes);
  token.put_certificates(&certificates);
  token.sign(signer.provider(), signer.keySpec(), signer.certificate(), sha256());

  const CToken decoded = reread(token);
  ASSERT_NE(nullptr, decoded.get_unsignedAttributes());
  EXPECT_TRUE(unsignedAttributes == *decoded.get_unsignedAttributes());
  ASSERT_NE(nullptr, decoded.get_certificates());
#ifdef _WIN32
  // Wine writes the certificate SET in DER order (docs/wine-differences.md).
  const CBlob &rsa = pki().rsa.certificate, &ca = pki().caCertificate;
  const bool caFirst = std::lexicographical_compare(ca.pbData(), ca.pbData() + ca.cbData(),
                                                    rsa.pbData(), rsa.pbData() + rsa.cbData());
  EXPECT_TRUE((caFirst ? ca : rsa) == decoded.get_certificates()->front());
#else
  EXPECT_TRUE(certificates == *decoded.get_certificates());
#endif
  const CAttributes& carried = *decoded.get_signedAttributes();
  EXPECT_TRUE(signedAttributes.front() == *carried.find("1.2.3.7"));
  EXPECT_TRUE(signedAttributes.back() == *carried.find("1.2.840.113549.1.9.16.2.47"));
  EXPECT_TRUE(decoded.verify(signer.certificate()));
}

TEST(TokenSigning, EncodeNeedsASignedOrDecodedMessage) {
  CToken token = tsa_test::tokenFor(pki().rsa, "stamped data");
  EXPECT_HRESULT(E_FAIL, token.encode());
  EXPECT_HRESULT(E_FAIL, token.verify(pki().rsa.certificate));

  // Bytes that are no certificate: the platform's own error, and no message afterwards, also
  // when the token held one.
  const auto signer = tsa_test::rsaSigner();
  token.sign(signer.provider(), signer.keySpec(), signer.certificate(), sha256());
  const CBlob notACertificate = fromHex("3003020101");
  EXPECT_HRESULT(tsa_test::certificateError(notACertificate),
                 token.sign(signer.provider(), signer.keySpec(), notACertificate, sha256()));
  EXPECT_HRESULT(E_FAIL, token.encode());
}

// In the Windows build, each test takes a signed token's bytes right after sign: see below.
TEST(TokenSigning, SignedMessageStaysUntilTheNextSignAlsoOnADecodedToken) {
  const auto signer = tsa_test::rsaSigner();
  CToken token = tsa_test::tokenFor(pki().rsa, "stamped data");
  token.sign(signer.provider(), signer.keySpec(), signer.certificate(), sha256());
  const CBlob first = token.encode();

  // A put_ changes the field, not the message, which is asked for its bytes again.
  const CBigInteger nonce("0x2A");
  token.put_nonce(&nonce);
  EXPECT_TRUE(first == token.encode());

  // Signing again, by another signer and digest, replaces the message and the SignerInfo.
  const auto other = tsa_test::rsaSigner(pki().other);
  const CAlgorithmIdentifierEx sha384("2.16.840.1.101.3.4.2.2", fromHex("0500"));
  token.sign(other.provider(), other.keySpec(), other.certificate(), sha384);
  const CBlob second = token.encode();
  expectSignerIs("other", "2.16.840.1.101.3.4.2.2", token.get_signerInfo());
  CToken received;
  received.decode(second);
  EXPECT_EQ(nonce, *received.get_nonce());
  EXPECT_TRUE(received.verify(other.certificate()));
  EXPECT_FALSE(received.verify(signer.certificate()));

  // Signing a decoded token replaces the bytes it was decoded from.
  received.decode(first);
  received.sign(other.provider(), other.keySpec(), other.certificate(), sha256());
  received.decode(received.encode());
  EXPECT_TRUE(received.verify(other.certificate()));
}

#ifdef _WIN32
// Wine's message keeps pointing into the signer's certificate context, which sign frees at its
// end, and encodes its SignerInfo again from there on every later CMSG_CONTENT_PARAM: once that
// memory is used again, encode fails or gives other bytes. Windows copies what it needs.
TEST(TokenSigning, WineReadsTheSignerCertificateAgainOnEveryEncode) {
  const auto signer = tsa_test::rsaSigner();
  const CBlob& der = signer.certificate();
  const PCCERT_CONTEXT context = CertCreateCertificateContext(
      X509_ASN_ENCODING | PKCS_7_ASN_ENCODING, der.pbData(), der.cbData());
  ASSERT_NE(nullptr, context);
  CMSG_SIGNER_ENCODE_INFO signerInfo{};
  signerInfo.cbSize = sizeof signerInfo;
  signerInfo.pCertInfo = context->pCertInfo;
  signerInfo.hCryptProv = signer.provider();
  signerInfo.dwKeySpec = signer.keySpec();
  signerInfo.HashAlgorithm.pszObjId = const_cast<LPSTR>(sha256().get_algorithm());
  CMSG_SIGNED_ENCODE_INFO info{};
  info.cbSize = sizeof info;
  info.cSigners = 1;
  info.rgSigners = &signerInfo;
  const HCRYPTMSG message = CryptMsgOpenToEncode(X509_ASN_ENCODING | PKCS_7_ASN_ENCODING, 0,
                                                 CMSG_SIGNED, &info, nullptr, nullptr);
  ASSERT_NE(nullptr, message);
  const BYTE content[] = {0x04, 0x00};
  ASSERT_TRUE(CryptMsgUpdate(message, content, sizeof content, TRUE));
  DWORD size = 0;
  EXPECT_TRUE(CryptMsgGetParam(message, CMSG_CONTENT_PARAM, 0, nullptr, &size));

  // What a reuse of the freed context would do to the key algorithm's identifier.
  char* keyAlgorithm = context->pCertInfo->SubjectPublicKeyInfo.Algorithm.pszObjId;
  const std::string kept = keyAlgorithm;
  keyAlgorithm[0] = 'x';
  EXPECT_FALSE(CryptMsgGetParam(message, CMSG_CONTENT_PARAM, 0, nullptr, &size));
  EXPECT_EQ(CRYPT_E_ASN1_ERROR, static_cast<HRESULT>(GetLastError()));
  keyAlgorithm[0] = kept[0];
  CryptMsgClose(message);
  CertFreeCertificateContext(context);
}
#endif
