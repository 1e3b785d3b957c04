// What the signature protects: no change to it verifies, and the error names what changed.
#include <algorithm>
#include <string>

#include "outside/asn1rt/ber_reader.h"
#include "tests/platform/platform_fixture.h"

using Zanthorel::BER::BerReader;

namespace platform_test {
namespace {

std::size_t find(const Bytes& haystack, const Bytes& needle) {
  const auto at = std::search(haystack.begin(), haystack.end(), needle.begin(), needle.end());
  EXPECT_NE(haystack.end(), at);
  return static_cast<std::size_t>(at - haystack.begin());
}

// Every single-bit flip of a small message: inside what the signature protects (content, signed
// attributes, signature value) nothing verifies, a changed content failing on its digest and a
// changed attribute on the signature; elsewhere a message that still verifies carries the
// original content and signed attributes.
TEST(Tampering, NoSingleBitFlipOfProtectedOctetsVerifies) {
  const auto& keys = pki();
  const Bytes content = bytesOf("bit flips");
  SignOptions options;
  options.cms = true;
  options.innerType = "1.2.840.113549.1.9.16.1.4";
  options.authAttributes = {{szOID_RSA_signingTime, {derUtcTime("240621071205Z")}}};
  options.unauthAttributes = {{"1.2.3.4", {{0x05, 0x00}}}};
  options.certificates = {keys.caCertificate};
  const Bytes message = signMessage(keys.ec, content, options);

  DecodedMessage original(message);
  ASSERT_EQ(S_OK, original.verify(bytesOf(keys.ec.certificate)));
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
  const std::size_t timeAt = find(message, bytesOf("240621071205Z"));
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
      if (!decoded.ok()) continue;
      if (!CryptMsgControl(decoded.handle(), 0, CMSG_CTRL_VERIFY_SIGNATURE, certificate.info())) {
        const DWORD error = GetLastError();
        if (at >= contentAt && at < contentAt + content.size()) {
          EXPECT_EQ(static_cast<DWORD>(CRYPT_E_HASH_VALUE), error) << "content flip at " << at;
        } else if (at >= timeAt && at < timeAt + 13) {
          EXPECT_EQ(static_cast<DWORD>(NTE_BAD_SIGNATURE), error) << "signingTime flip at " << at;
        }
        continue;
      }
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
