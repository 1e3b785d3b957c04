// Messages signed through CryptMsgOpenToEncode, checked by OpenSSL and by their structure.
#include <openssl/sha.h>

#include <algorithm>
#include <cstring>

#include "outside/asn1/cms.h"
#include "outside/ztasn1/object_identifier.h"
#include "platform/key_provider.h"
#include "tests/support/platform_messages.h"

using Zanthorel::BER::BerReader;

namespace platform_test {
namespace {

Bytes sha256(const Bytes& bytes) {
  Bytes digest(SHA256_DIGEST_LENGTH);
  SHA256(bytes.data(), bytes.size(), digest.data());
  return digest;
}

// openssl cms -verify of `message` with the signer's certificate; gives back the content.
Bytes opensslVerify(const Bytes& message, const Authority& signer) {
  const std::string dir = pki().dir;
  zttsp_test::writeFile(dir + "/message.der", blobOf(message));
  openssl("cms -verify -binary -noverify -inform DER -in " + dir + "/message.der -certfile " +
          signer.name + ".pem -out " + dir + "/content.out");
  return bytesOf(zttsp_test::readFile(dir + "/content.out"));
}

std::string dotted(const ASN1OBJID& oid) {
  std::string text;
  Zanthorel::ASN1::oid2str(text, &oid);
  return text;
}

// Every digest, both content modes, with and without attributes and certificates.
const char* const kHashes[] = {szOID_NIST_sha256, szOID_OIWSEC_sha1, szOID_NIST_sha384,
                               szOID_NIST_sha512, szOID_NIST_sha512, szOID_NIST_sha384,
                               szOID_OIWSEC_sha1, szOID_NIST_sha256};

TEST(Signing, OpenSslVerifiesEveryDigestModeAttributeAndCertificateChoice) {
  const auto& keys = pki();
  const Bytes data = bytesOf("content to be stamped, 100 bytes or so: the quick brown fox jumps");
  const Bytes tstInfo = {0x30, 0x06, 0x02, 0x01, 0x01, 0x06, 0x01, 0x2A};
  for (const Authority* signer : {&keys.rsa, &keys.ec}) {
    for (bool cms : {false, true}) {
      for (bool attributes : {false, true}) {
        for (bool certificates : {false, true}) {
          SCOPED_TRACE(signer->name + ".pem" + (cms ? " cms" : " pkcs7") +
                       (attributes ? " attrs" : "") + (certificates ? " certs" : ""));
          SignOptions options;
          options.hashOid = kHashes[(cms ? 4 : 0) + (attributes ? 2 : 0) + (certificates ? 1 : 0)];
          options.cms = cms;
          options.innerType = cms ? szOID_TIMESTAMP_TOKEN : nullptr;
          if (attributes) {
            options.authAttributes = {{szOID_RSA_signingTime, {derUtcTime("240621071205Z")}}};
          }
          if (certificates) options.certificates = {signer->certificate, keys.caCertificate};
          const Bytes& content = cms ? tstInfo : data;
          const Bytes message = signMessage(*signer, content, options);
          EXPECT_EQ(content, opensslVerify(message, *signer));

          DecodedMessage decoded(message);
          ASSERT_TRUE(decoded.ok());
          EXPECT_EQ(cms ? 3u : 1u, decoded.dword(CMSG_VERSION_PARAM));
          EXPECT_EQ(certificates ? 2u : 0u, decoded.dword(CMSG_CERT_COUNT_PARAM));
          if (certificates) {
            EXPECT_EQ(bytesOf(signer->certificate), decoded.param(CMSG_CERT_PARAM, 0));
          }
          EXPECT_EQ(cms ? derOctetString(content) : content, decoded.param(CMSG_CONTENT_PARAM));
          EXPECT_EQ(S_OK, decoded.verify(bytesOf(signer->certificate)));

          // The SignerInfo as Windows writes it: version 1, SHA-256 with NULL parameters,
          // rsaEncryption + NULL or ecdsa-with-SHA256 without parameters.
          const Bytes encodedSigner = decoded.param(CMSG_ENCODED_SIGNER);
          ASN1CTXT ctxt;
          BerReader in(encodedSigner.data(), encodedSigner.size(), &ctxt);
          ASN1T_SignerInfo info;
          ASSERT_TRUE(asn1D_SignerInfo(in, info));
          EXPECT_STREQ("0x1", info.version);
          EXPECT_EQ(options.hashOid, dotted(info.digestAlgorithm.algorithm));
          EXPECT_EQ(Bytes({0x05, 0x00}), Bytes(info.digestAlgorithm.parameters.data,
                                               info.digestAlgorithm.parameters.data +
                                                   info.digestAlgorithm.parameters.numocts));
          const bool ec = signer == &keys.ec;
          const std::string signatureAlgorithm = dotted(info.signatureAlgorithm.algorithm);
          EXPECT_EQ(ec ? "1.2.840.10045.4" : szOID_RSA_RSA,
                    signatureAlgorithm.substr(0, ec ? 15 : std::string::npos));
          EXPECT_EQ(!ec, info.signatureAlgorithm.m.parametersPresent != 0);
          EXPECT_EQ(attributes || cms, info.m.signedAttrsPresent != 0);
        }
      }
    }
  }
}

// contentType and messageDigest are computed, whatever the caller passes; the set is in DER
// order; the caller's attributes keep their values; unsigned attributes keep the caller's order.
TEST(Signing, SignedAttributesAreComputedAndSorted) {
  const Bytes content = bytesOf("attribute order");
  SignOptions options;
  options.cms = true;
  options.innerType = szOID_TIMESTAMP_TOKEN;
  const Bytes stale = derOctetString(Bytes(32, 0xAA));
  options.authAttributes = {
      {szOID_RSA_messageDigest, {stale}},
      {szOID_RSA_signingTime, {derUtcTime("240621071205Z")}},
      {"1.2.840.113549.1.9.16.2.47", {{0x30, 0x02, 0x30, 0x00}}},
      {szOID_RSA_contentType, {{0x06, 0x01, 0x2A}}},
  };
  options.unauthAttributes = {{"1.3.6.1.4.1.311.3.3.1", {{0x05, 0x00}}},
                              {"1.2.3.4", {{0x02, 0x01, 0x07}, {0x02, 0x01, 0x01}}}};
  const Bytes message = signMessage(pki().rsa, content, options);
  DecodedMessage decoded(message);
  ASSERT_TRUE(decoded.ok());
  EXPECT_EQ(S_OK, decoded.verify(bytesOf(pki().rsa.certificate)));

  const Bytes block = decoded.param(CMSG_SIGNER_AUTH_ATTR_PARAM);
  const std::vector<Attribute> signedAttributes = attributesOf(block);
  ASSERT_EQ(4u, signedAttributes.size());
  // By encoding, so by length first: ESS (30 11), contentType (30 18), signingTime (30 1C),
  // messageDigest (30 2F).
  EXPECT_EQ("1.2.840.113549.1.9.16.2.47", signedAttributes[0].oid);
  EXPECT_EQ(szOID_RSA_contentType, signedAttributes[1].oid);
  EXPECT_EQ(Bytes({0x06, 0x0B, 0x2A, 0x86, 0x48, 0x86, 0xF7, 0x0D, 0x01, 0x09, 0x10, 0x01, 0x04}),
            signedAttributes[1].values.at(0));
  EXPECT_EQ(szOID_RSA_signingTime, signedAttributes[2].oid);
  EXPECT_EQ(szOID_RSA_messageDigest, signedAttributes[3].oid);
  EXPECT_EQ(derOctetString(sha256(content)), signedAttributes[3].values.at(0));

  // The block holds everything it points to: it may be copied or freed whole.
  const auto inside = [&](const void* p, std::size_t n) {
    const auto* b = static_cast<const BYTE*>(p);
    return b >= block.data() && b + n <= block.data() + block.size();
  };
  const auto* header = reinterpret_cast<const CRYPT_ATTRIBUTES*>(block.data());
  EXPECT_TRUE(inside(header->rgAttr, header->cAttr * sizeof(CRYPT_ATTRIBUTE)));
  for (DWORD i = 0; i < header->cAttr; ++i) {
    const CRYPT_ATTRIBUTE& attribute = header->rgAttr[i];
    EXPECT_TRUE(inside(attribute.pszObjId, std::strlen(attribute.pszObjId) + 1));
    EXPECT_TRUE(inside(attribute.rgValue, attribute.cValue * sizeof(CRYPT_ATTR_BLOB)));
    EXPECT_TRUE(inside(attribute.rgValue[0].pbData, attribute.rgValue[0].cbData));
  }

  const std::vector<Attribute> unsignedAttributes =
      attributesOf(decoded.param(CMSG_SIGNER_UNAUTH_ATTR_PARAM));
  ASSERT_EQ(2u, unsignedAttributes.size());
  EXPECT_EQ("1.3.6.1.4.1.311.3.3.1", unsignedAttributes[0].oid);
  EXPECT_EQ("1.2.3.4", unsignedAttributes[1].oid);
  EXPECT_EQ(2u, unsignedAttributes[1].values.size());
  EXPECT_EQ(content, opensslVerify(message, pki().rsa));
}

HCRYPTMSG openToEncode(DWORD encoding, DWORD flags, DWORD type, const void* info) {
  return CryptMsgOpenToEncode(encoding, flags, type, info, nullptr, nullptr);
}

TEST(Signing, OpenRefusesWhatItCannotSign) {
  const auto provider = signerOf(pki().rsa);
  CertificateHandle certificate(pki().rsa.certificate);
  EncodeInfo blocks(certificate.info(), provider.provider());
  CMSG_SIGNER_ENCODE_INFO& signer = blocks.signer;
  CMSG_SIGNED_ENCODE_INFO& info = blocks.info;
  const DWORD encoding = X509_ASN_ENCODING | PKCS_7_ASN_ENCODING;

  const auto expectRefused = [&](DWORD expected, DWORD enc, DWORD type) {
    SetLastError(0);
    EXPECT_EQ(nullptr, openToEncode(enc, 0, type, &info));
    EXPECT_EQ(expected, GetLastError());
  };
  expectRefused(static_cast<DWORD>(E_INVALIDARG), X509_ASN_ENCODING, CMSG_SIGNED);
  expectRefused(static_cast<DWORD>(CRYPT_E_INVALID_MSG_TYPE), encoding, CMSG_HASHED);
  info.cbSize = 0;
  expectRefused(static_cast<DWORD>(E_INVALIDARG), encoding, CMSG_SIGNED);
  info.cbSize = sizeof info;
  signer.HashAlgorithm.pszObjId = const_cast<LPSTR>("1.2.840.113549.2.5");  // MD5
  expectRefused(static_cast<DWORD>(CRYPT_E_UNKNOWN_ALGO), encoding, CMSG_SIGNED);
  signer.HashAlgorithm.pszObjId = const_cast<LPSTR>(szOID_NIST_sha256);
  signer.hCryptProv = 0;
  expectRefused(static_cast<DWORD>(E_INVALIDARG), encoding, CMSG_SIGNED);
  signer.hCryptProv = provider.provider();
  CERT_INFO noIssuer = *certificate.info();
  noIssuer.Issuer = {};
  signer.pCertInfo = &noIssuer;
  expectRefused(static_cast<DWORD>(E_INVALIDARG), encoding, CMSG_SIGNED);
  signer.pCertInfo = const_cast<PCERT_INFO>(certificate.info());
  EXPECT_EQ(1u, ZtGetProviderReferenceCount(provider.provider()));  // no failed open kept one

  // A key specification the provider does not serve fails at the final update; the message is
  // then done with.
  signer.dwKeySpec = 7;
  HCRYPTMSG message = openToEncode(encoding, 0, CMSG_SIGNED, &info);
  ASSERT_NE(nullptr, message);
  EXPECT_FALSE(CryptMsgUpdate(message, nullptr, 0, TRUE));
  EXPECT_EQ(static_cast<DWORD>(NTE_NO_KEY), GetLastError());
  EXPECT_FALSE(CryptMsgUpdate(message, nullptr, 0, TRUE));
  EXPECT_EQ(static_cast<DWORD>(CRYPT_E_MSG_ERROR), GetLastError());
  CryptMsgClose(message);

  // Updates before the final one add up; nothing is accepted after it.
  signer.dwKeySpec = 0;
  message = openToEncode(encoding, 0, CMSG_SIGNED, &info);
  const Bytes content = bytesOf("two parts");
  ASSERT_TRUE(CryptMsgUpdate(message, content.data(), 4, FALSE));
  ASSERT_TRUE(CryptMsgUpdate(message, content.data() + 4, 5, TRUE));
  EXPECT_FALSE(CryptMsgUpdate(message, content.data(), 1, TRUE));
  EXPECT_EQ(static_cast<DWORD>(CRYPT_E_MSG_ERROR), GetLastError());
  DWORD size = 0;
  EXPECT_FALSE(CryptMsgGetParam(message, CMSG_SIGNER_COUNT_PARAM, 0, nullptr, &size));
  EXPECT_EQ(static_cast<DWORD>(CRYPT_E_INVALID_MSG_TYPE), GetLastError());
  EXPECT_FALSE(CryptMsgGetParam(message, CMSG_ENCODED_SIGNER, 1, nullptr, &size));
  EXPECT_EQ(static_cast<DWORD>(CRYPT_E_INVALID_INDEX), GetLastError());
  EXPECT_FALSE(CryptMsgControl(message, 0, CMSG_CTRL_VERIFY_SIGNATURE, certificate.info()));
  EXPECT_EQ(static_cast<DWORD>(E_INVALIDARG), GetLastError());
  ASSERT_TRUE(CryptMsgGetParam(message, CMSG_CONTENT_PARAM, 0, nullptr, &size));
  Bytes encoded(size);
  ASSERT_TRUE(CryptMsgGetParam(message, CMSG_CONTENT_PARAM, 0, encoded.data(), &size));
  CryptMsgClose(message);
  DecodedMessage decoded(encoded);
  EXPECT_EQ(content, decoded.param(CMSG_CONTENT_PARAM));
  EXPECT_EQ(S_OK, decoded.verify(bytesOf(pki().rsa.certificate)));
}

// NULL buffer: the size; large buffer: the size written; a DWORD output too small: ERROR_MORE_DATA
// and the size. (A short byte buffer is a row of the hostile catalogue.)
TEST(Signing, GetParamFollowsTheLengthQueryConvention) {
  DecodedMessage decoded(signMessage(pki().ec, bytesOf("length query")));
  DWORD size = 12345;
  ASSERT_TRUE(CryptMsgGetParam(decoded.handle(), CMSG_CONTENT_PARAM, 0, nullptr, &size));
  EXPECT_EQ(12u, size);
  Bytes buffer(64, 0xEE);
  size = 64;
  ASSERT_TRUE(CryptMsgGetParam(decoded.handle(), CMSG_CONTENT_PARAM, 0, buffer.data(), &size));
  EXPECT_EQ(12u, size);
  EXPECT_EQ(bytesOf("length query"), Bytes(buffer.begin(), buffer.begin() + 12));

  DWORD count = 0;
  size = 2;
  EXPECT_FALSE(CryptMsgGetParam(decoded.handle(), CMSG_SIGNER_COUNT_PARAM, 0, &count, &size));
  EXPECT_EQ(static_cast<DWORD>(ERROR_MORE_DATA), GetLastError());
  EXPECT_EQ(4u, size);
  EXPECT_TRUE(CryptMsgGetParam(decoded.handle(), CMSG_SIGNER_COUNT_PARAM, 0, &count, &size));
  EXPECT_EQ(1u, count);
}

}  // namespace
}  // namespace platform_test
