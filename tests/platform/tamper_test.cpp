// What the signature protects: no change to it verifies.
#include <algorithm>
#include <string>

#include "outside/asn1rt/ber_reader.h"
#include "tests/platform/platform_fixture.h"

namespace platform_test {
namespace {

std::size_t find(const Bytes& haystack, const Bytes& needle) {
  const auto at = std::search(haystack.begin(), haystack.end(), needle.begin(), needle.end());
  EXPECT_NE(haystack.end(), at);
  return static_cast<std::size_t>(at - haystack.begin());
}

HRESULT verifyChanged(const Bytes& message, const TestSigner& signer) {
  DecodedMessage decoded(message);
  return decoded.ok() ? decoded.verify(signer.certificate) : static_cast<HRESULT>(decoded.error());
}

// Changes to an OpenSSL-made message: content, a signed attribute, content swapped under kept
// signed attributes.
TEST(Tampering, ChangedContentOrAttributesFail) {
  const TestKeys& keys = testKeys();
  for (const TestSigner* signer : {&keys.rsa, &keys.ec}) {
    writeBytes(keys.dir + "/a.txt", bytesOf("first content, 31 bytes long.\n"));
    writeBytes(keys.dir + "/b.txt", bytesOf("other content, 31 bytes long.\n"));
    const auto sign = [&](const char* file) {
      openssl("cms -sign -binary -nodetach -in " + keys.dir + "/" + file + " -signer " +
              signer->certPath + " -inkey " + signer->keyPath + " -outform DER -out " + keys.dir +
              "/signed.der");
      return readBytes(keys.dir + "/signed.der");
    };
    const Bytes a = sign("a.txt");
    const Bytes b = sign("b.txt");
    ASSERT_EQ(S_OK, verifyChanged(a, *signer));

    Bytes changed = a;
    changed[find(a, bytesOf("first content"))] ^= 0x01;
    EXPECT_EQ(CRYPT_E_HASH_VALUE, verifyChanged(changed, *signer));

    // The signingTime's last digit (UTCTime 17 0D ... 5A).
    Bytes attribute = a;
    const std::size_t time = find(a, {0x06, 0x09, 0x2A, 0x86, 0x48, 0x86, 0xF7, 0x0D, 0x01, 0x09,
                                      0x05, 0x31, 0x0F, 0x17, 0x0D});
    attribute[time + 15 + 11] ^= 0x01;
    EXPECT_EQ(NTE_BAD_SIGNATURE, verifyChanged(attribute, *signer));

    // b's content under a's signer: the messageDigest no longer matches.
    Bytes swapped = a;
    std::copy_n(b.begin() + find(b, bytesOf("other content")), 31,
                swapped.begin() + find(a, bytesOf("first content")));
    EXPECT_EQ(CRYPT_E_HASH_VALUE, verifyChanged(swapped, *signer));
  }
}

// Every single-bit flip of a small message: inside what the signature protects (content, signed
// attributes, signature value) nothing verifies; elsewhere a message that still verifies carries
// the original content and signed attributes.
TEST(Tampering, NoSingleBitFlipOfProtectedOctetsVerifies) {
  const TestKeys& keys = testKeys();
  const Bytes content = bytesOf("bit flips");
  SignOptions options;
  options.cms = true;
  options.innerType = "1.2.840.113549.1.9.16.1.4";
  options.authAttributes = {{szOID_RSA_signingTime, {derUtcTime("240621071205Z")}}};
  options.unauthAttributes = {{"1.2.3.4", {{0x05, 0x00}}}};
  options.certificates = {keys.ca.certificate};
  const Bytes message = signMessage(keys.ec, content, options);

  DecodedMessage original(message);
  ASSERT_EQ(S_OK, original.verify(keys.ec.certificate));
  const Bytes originalContent = original.param(CMSG_CONTENT_PARAM);
  const Bytes originalAttributes = original.param(CMSG_SIGNER_AUTH_ATTR_PARAM);
  const Bytes signer = original.param(CMSG_ENCODED_SIGNER);

  // The protected spans: the content, the signed attributes and the signature value, found
  // by reading the SignerInfo.
  ASN1CTXT ctxt;
  BerReader in(signer.data(), signer.size(), &ctxt), seq;
  ASN1OpenType version, sid, digestAlgorithm, attributes, signatureAlgorithm, signature;
  ASSERT_TRUE(in.readSequence(seq) && seq.readOpenType(version) && seq.readOpenType(sid) &&
              seq.readOpenType(digestAlgorithm) && seq.readOpenType(attributes) &&
              seq.readOpenType(signatureAlgorithm) && seq.readOpenType(signature));
  const std::size_t contentAt = find(message, content);
  const std::size_t signerAt = find(message, signer);
  const auto offset = [&](const ASN1OpenType& part) {
    return signerAt + static_cast<std::size_t>(part.data - signer.data());
  };
  const auto isProtected = [&](std::size_t at) {
    return (at >= contentAt && at < contentAt + content.size()) ||
           (at >= offset(attributes) && at < offset(attributes) + attributes.numocts) ||
           (at >= offset(signature) && at < offset(signature) + signature.numocts);
  };

  CertificateHandle certificate(keys.ec.certificate);
  int verifiedFlips = 0;
  for (std::size_t at = 0; at < message.size(); ++at) {
    for (int bit = 0; bit < 8; ++bit) {
      Bytes flipped = message;
      flipped[at] ^= static_cast<BYTE>(1 << bit);
      DecodedMessage decoded(flipped);
      if (!decoded.ok() ||
          !CryptMsgControl(decoded.handle(), 0, CMSG_CTRL_VERIFY_SIGNATURE, certificate.info()))
        continue;
      ++verifiedFlips;
      EXPECT_FALSE(isProtected(at)) << "flip at " << at << " bit " << bit << " verifies";
      EXPECT_EQ(originalContent, decoded.param(CMSG_CONTENT_PARAM)) << at;
      EXPECT_EQ(attributesOf(originalAttributes).size(),
                attributesOf(decoded.param(CMSG_SIGNER_AUTH_ATTR_PARAM)).size())
          << at;
    }
  }
  EXPECT_GT(verifiedFlips, 0);  // the certificate set and unsigned attributes are not protected
}

}  // namespace
}  // namespace platform_test
