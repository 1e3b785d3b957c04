// The tamper table: one row per part of a signed message that is changed, with the reader that
// takes it and what must come of it. Every octet of the part is changed in turn (one bit, its
// number rotating with the offset). Where the signature protects the part, no change verifies:
// each is refused when read or fails the check, the platform naming what failed. Where it does
// not, a change may verify, and then the signed parts read as before.
#include <algorithm>
#include <stdexcept>
#include <string>
#include <vector>

#include "authenticode/ms_stamp.h"
#include "rfc3161/token.h"
#include "tests/hostile/signed_data_builder.h"
#include "tests/support/platform_messages.h"
#include "tests/support/test_support.h"

using tsa_test::pki;
using tsa_test::Span;
using Zanthorel::CBlob;

namespace hostile_test {
namespace {

enum Message {
  kToken,       // CToken on an openssl ts token (P-256, with its certificate)
  kPkcs7Token,  // CToken on a token (RSA) with the TSTInfo itself under [0], as PKCS #7 has it
  kStamp,       // CMSStamp on an openssl cms message of data, with signingTime (RSA)
  kPlatform     // the openssl ts token through CryptMsgOpenToDecode and CMSG_CTRL_VERIFY_SIGNATURE
};
enum Part { kContent, kSignedAttributes, kSigningTime, kSignature, kCertificates };

struct Row {
  const char* name;
  Message message;
  Part part;
  bool protectedPart;
  HRESULT platformError;  // what the platform says of every change that it reads; 0: any error
};

// clang-format off
const Row kRows[] = {
  {"token: TSTInfo, which messageDigest covers", kToken, kContent, true, 0},
  {"token: signed attributes, covered as received", kToken, kSignedAttributes, true, 0},
  {"token: signature", kToken, kSignature, true, 0},
  {"PKCS #7 token: TSTInfo, which messageDigest covers whole (tag and length too), as a CMS "
   "signer and Windows compute it", kPkcs7Token, kContent, true, 0},
  {"stamp: the stamped signature", kStamp, kContent, true, 0},
  {"stamp: signingTime, what the stamp vouches for", kStamp, kSigningTime, true, 0},
  {"stamp: signature", kStamp, kSignature, true, 0},
  {"platform: TSTInfo, failing on its digest", kPlatform, kContent, true, CRYPT_E_HASH_VALUE},
  {"platform: signingTime, failing on the signature", kPlatform, kSigningTime, true, NTE_BAD_SIGNATURE},
  {"platform: signature", kPlatform, kSignature, true, NTE_BAD_SIGNATURE},
  {"platform: certificates, which nothing signs", kPlatform, kCertificates, false, 0},
};
// clang-format on

struct Signed {
  CBlob message;
  const tsa_test::Authority& signer;
};

const Signed& signedMessage(Message message) {
  static const Signed token{tsa_test::opensslToken(pki().ec, true), pki().ec};
  static const Signed pkcs7Token{[] {
                                   SignedDataRecipe recipe;
                                   recipe.content = tstInfo("20240621071205Z");
                                   recipe.bareContent = true;
                                   return buildSignedData(recipe);
                                 }(),
                                 pki().rsa};
  static const Signed stamp{[] {
                              tsa_test::shell(
                                  "printf 'the stamped signature' > stamped.bin && openssl cms "
                                  "-sign -binary -nodetach -in stamped.bin -signer rsa.pem -inkey "
                                  "rsa.key -outform DER -out stamp.der");
                              return zttsp_test::readFile(pki().dir + "/stamp.der");
                            }(),
                            pki().rsa};
  return message == kStamp ? stamp : message == kPkcs7Token ? pkcs7Token : token;
}

Span find(const CBlob& in, const CBlob& what, std::size_t from = 0) {
  const auto at = std::search(in.pbData() + from, in.pbData() + in.cbData(), what.pbData(),
                              what.pbData() + what.cbData());
  if (at == in.pbData() + in.cbData()) throw std::runtime_error("part not found");
  return {static_cast<std::size_t>(at - in.pbData()), what.cbData()};
}

// Where `part` lies in `message`; a content in an OCTET STRING is its value octets.
std::vector<Span> spansOf(const CBlob& message, Part part) {
  const tsa_test::TokenLayout layout = tsa_test::layoutOf(message);
  std::vector<Span> spans;
  if (part == kContent) spans.push_back(find(message, tsa_test::tstInfoOf(message)));
  if (part == kSignedAttributes) spans.push_back(layout.signedAttributes);
  if (part == kSigningTime)  // the 13 octets of the UTCTime
    spans.push_back(
        {find(message, CBlob("\x17\x0D", 2), layout.signedAttributes.offset).offset + 2, 13});
  if (part == kSignature) spans.push_back(layout.signature);
  for (const CBlob& certificate :
       part == kCertificates ? layout.certificates : Zanthorel::CBlobList())
    spans.push_back(find(message, certificate));
  return spans;
}

struct Outcome {
  bool read = false;
  bool verified = false;
  HRESULT error = S_OK;             // the platform's
  bool signedPartsAsBefore = true;  // the platform's content and signed attributes
};

template <class Reader>
Outcome readWith(const CBlob& changed, const Signed& original) {
  Reader reader;
  Outcome outcome;
  outcome.read = zttsp_test::hresultOf([&] { reader.decode(changed); }) == S_OK;
  outcome.verified = outcome.read && reader.verify(original.signer.certificate);
  return outcome;
}

Outcome readThroughThePlatform(const CBlob& changed, const Signed& original) {
  using platform_test::attributesOf;
  using platform_test::bytesOf;
  const platform_test::DecodedMessage decoded(bytesOf(changed));
  Outcome outcome;
  outcome.read = decoded.ok();
  if (!outcome.read) return outcome;
  outcome.error = decoded.verify(bytesOf(original.signer.certificate));
  outcome.verified = outcome.error == S_OK;
  if (outcome.verified) {
    const platform_test::DecodedMessage before(bytesOf(original.message));
    outcome.signedPartsAsBefore =
        decoded.param(CMSG_CONTENT_PARAM) == before.param(CMSG_CONTENT_PARAM) &&
        attributesOf(decoded.param(CMSG_SIGNER_AUTH_ATTR_PARAM)) ==
            attributesOf(before.param(CMSG_SIGNER_AUTH_ATTR_PARAM));
  }
  return outcome;
}

Outcome read(Message message, const CBlob& changed, const Signed& original) {
  if (message == kPlatform) return readThroughThePlatform(changed, original);
  if (message == kStamp) return readWith<Zanthorel::PKI::TSP::CMSStamp>(changed, original);
  return readWith<Zanthorel::PKI::TSP::CToken>(changed, original);
}

TEST(Tampering, NoChangeOfWhatTheSignatureProtectsVerifies) {
  for (const Row& row : kRows) {
    SCOPED_TRACE(row.name);
    const Signed& original = signedMessage(row.message);
    ASSERT_TRUE(read(row.message, original.message, original).verified) << "the original";
    int read = 0, verified = 0;
    for (const Span& span : spansOf(original.message, row.part)) {
      for (std::size_t at = span.offset; at < span.offset + span.length; ++at) {
        CBlob changed = original.message;
        changed.pbData()[at] ^= static_cast<std::uint8_t>(1u << (at % 8));
        const Outcome outcome = hostile_test::read(row.message, changed, original);
        read += outcome.read ? 1 : 0;
        verified += outcome.verified ? 1 : 0;
        EXPECT_TRUE(!row.protectedPart || !outcome.verified) << "octet " << at;
        EXPECT_TRUE(!outcome.verified || outcome.signedPartsAsBefore) << "octet " << at;
        if (row.protectedPart && outcome.read && row.platformError != 0) {
          EXPECT_EQ(zttsp_test::hresultText(row.platformError),
                    zttsp_test::hresultText(outcome.error))
              << "octet " << at;
        }
      }
    }
    EXPECT_GT(read, 0) << "changes that are read and then checked";
    EXPECT_EQ(!row.protectedPart, verified > 0) << "changes that still verify";
  }
}

}  // namespace
}  // namespace hostile_test
