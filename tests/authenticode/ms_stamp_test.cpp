// CMSStamp: stamps we sign read by openssl, stamps of openssl read by us, and re-signing.
// (DigiCert's stamps are rows of the table of vectors, failed decodes of the hostile catalogue;
// the legacy exchange with signtool's request and osslsigncode runs through the server tests.)
#include <gtest/gtest.h>

#include <regex>
#include <string>

#include "authenticode/ms_stamp.h"
#include "outside/ztasn1/octet_string.h"
#include "tests/support/test_support.h"
#include "tests/support/tsa_fixture.h"

using namespace Zanthorel::PKI::TSP;
using tsa_test::pki;
using tsa_test::sha256;
using tsa_test::shell;
using Zanthorel::CBlob;
using Zanthorel::CBlobList;
using Zanthorel::CDateTime;
using Zanthorel::ASN1::toOctetString;
using zttsp_test::blobOf;
using zttsp_test::readFile;
using zttsp_test::writeFile;

namespace {

// A stamp of `text` at 2024-06-21 07:12:05Z signed by `signer` with SHA-256.
CMSStamp signedStamp(const zttsp_test::TestSigner& signer, const std::string& text) {
  CMSStamp stamp(toOctetString(blobOf(text)), CDateTime("20240621071205Z"));
  stamp.sign(signer.provider(), signer.keySpec(), signer.certificate(), sha256());
  return stamp;
}

CMSStamp decoded(const CBlob& message) {
  CMSStamp stamp;
  stamp.decode(message);
  return stamp;
}

// The content that `openssl cms -verify` finds in `message` after checking its signature with
// the certificates `certfile` adds to the message's own, or "refused".
std::string opensslVerified(const CBlob& message, const std::string& certfile = "rsa.pem") {
  writeFile(pki().dir + "/stamp.der", message);
  const auto result =
      zttsp_test::run("cd '" + pki().dir + "' && openssl cms -verify -binary -noverify " +
                      "-inform DER -in stamp.der -out content.bin" +
                      (certfile.empty() ? "" : " -certfile " + certfile));
  return result.status == 0 ? zttsp_test::readText(pki().dir + "/content.bin") : "refused";
}

// The signingTime as openssl prints it: "Jun 21 07:12:05 2024 GMT".
std::string opensslSigningTime(const CBlob& message) {
  writeFile(pki().dir + "/stamp.der", message);
  const std::string text = shell("openssl cms -cmsout -print -inform DER -in stamp.der");
  std::smatch m;
  const std::regex time(R"(signingTime \(1\.2\.840\.113549\.1\.9\.5\)\s*set:\s*\w+TIME:(.*))");
  return std::regex_search(text, m, time) ? m[1].str() : "none";
}

// The stamp's certificates; none when absent.
CBlobList certificatesOf(const CMSStamp& stamp) {
  return stamp.get_certificates() != nullptr ? *stamp.get_certificates() : CBlobList();
}

CBlobList listOf(std::initializer_list<CBlob> certificates) {
  CBlobList list;
  for (const CBlob& certificate : certificates)
    list.push_back(certificate);
  return list;
}

// `openssl cms -sign` of `text` by the RSA authority, with signingTime, and `options`.
CBlob opensslStamp(const std::string& text, const std::string& options = "") {
  zttsp_test::writeText(pki().dir + "/data.bin", text);
  shell(
      "openssl cms -sign -binary -nodetach -in data.bin -signer rsa.pem -inkey rsa.key "
      "-outform DER -out signed.der " +
      options);
  return readFile(pki().dir + "/signed.der");
}

}  // namespace

TEST(MSStamp, OpensslVerifiesWhatWeSignWithTheContentAndTimeGiven) {
  const auto signer = tsa_test::rsaSigner();
  const CMSStamp stamp = signedStamp(signer, "the signature to stamp");
  const CBlob message = stamp.encode();
  EXPECT_EQ("the signature to stamp", opensslVerified(message));
  EXPECT_EQ("refused", opensslVerified(message, "")) << "no certificate unless given";
  EXPECT_EQ("Jun 21 07:12:05 2024 GMT", opensslSigningTime(message));

  EXPECT_TRUE(stamp.verify(pki().rsa.certificate));
  EXPECT_FALSE(stamp.verify(pki().other.certificate));
  EXPECT_HRESULT(tsa_test::certificateError(blobOf("no certificate")),
                 stamp.verify(blobOf("no certificate")));
  EXPECT_EQ(3u, stamp.get_signerInfo().get_signedAttributes()->size())
      << "contentType, messageDigest, time";

  // Times past 2049 travel as GeneralizedTime.
  CMSStamp later(stamp);
  later.put_signingTime(CDateTime("20500101000000Z"));
  EXPECT_EQ("Jan  1 00:00:00 2050 GMT", opensslSigningTime(later.encode()));
}

TEST(MSStamp, EveryChangeAfterSigningSignsAgain) {
  const auto signer = tsa_test::rsaSigner();
  CMSStamp stamp(toOctetString(blobOf("first")), CDateTime("20240621071205Z"));
  const CBlobList certificates = listOf({pki().caCertificate, pki().rsa.certificate});
  stamp.put_certificates(&certificates);
  // Without a signer a stamp only stores: nothing to encode, verify or read a signer from.
  EXPECT_HRESULT(E_FAIL, stamp.encode());
  EXPECT_LT(zttsp_test::hresultOf([&] { stamp.verify(pki().rsa.certificate); }), 0);
  EXPECT_LT(zttsp_test::hresultOf([&] { stamp.get_signerInfo(); }), 0);
  EXPECT_EQ(certificates, certificatesOf(CMSStamp(stamp)));
  stamp.sign(signer.provider(), signer.keySpec(), signer.certificate(), sha256());
  EXPECT_EQ("first", opensslVerified(stamp.encode(), ""));
  EXPECT_EQ(certificates, certificatesOf(decoded(stamp.encode()))) << "in list order";

  stamp.put_signingTime(CDateTime("20250101000000Z"));
  EXPECT_EQ(CDateTime("20250101000000Z"), decoded(stamp.encode()).get_signingTime());
  stamp.put_content(toOctetString(blobOf("second")));
  EXPECT_EQ("second", opensslVerified(stamp.encode(), ""));
  const CBlobList none;
  stamp.put_certificates(&none);
  EXPECT_EQ("refused", opensslVerified(stamp.encode(), "")) << "an empty list adds nothing";

  CMSStamp copy(stamp);
  copy.put_content(toOctetString(blobOf("copy")));
  EXPECT_EQ("copy", opensslVerified(copy.encode()));
  EXPECT_EQ("second", opensslVerified(stamp.encode()));
}

TEST(MSStamp, AFailedSigningLeavesTheSignerInPlace) {
  const auto signer = tsa_test::rsaSigner();
  const CBlob notACertificate = blobOf("no certificate");
  const HRESULT refused = tsa_test::certificateError(notACertificate);
  CMSStamp stamp(toOctetString(blobOf("x")), CDateTime("20240621071205Z"));
  EXPECT_HRESULT(refused,
                 stamp.sign(signer.provider(), signer.keySpec(), notACertificate, sha256()));
  EXPECT_HRESULT(S_OK, stamp.encode());
  EXPECT_HRESULT(refused, stamp.put_signingTime(CDateTime("20250101000000Z"))) << "signs again";
  stamp.sign(signer.provider(), signer.keySpec(), signer.certificate(), sha256());
  EXPECT_TRUE(stamp.verify(signer.certificate()));
}

TEST(MSStamp, ReadsWhatOpensslSigns) {
  const CBlob message = opensslStamp("signed by openssl", "-certfile ca.pem");
  const CMSStamp stamp = decoded(message);
  EXPECT_EQ(toOctetString(blobOf("signed by openssl")), stamp.get_content());
  // openssl sorts the certificates; they come in message order.
  EXPECT_EQ(2u, certificatesOf(stamp).size());
  EXPECT_EQ(tsa_test::layoutOf(message).certificates, certificatesOf(stamp));
  EXPECT_TRUE(stamp.verify(pki().rsa.certificate));
  EXPECT_FALSE(stamp.verify(pki().caCertificate));
  EXPECT_HRESULT(E_FAIL, stamp.encode()) << "decoding gives no signer";

  // Indefinite lengths and a segmented content, as openssl streams them.
  const CMSStamp streamed = decoded(opensslStamp("streamed", "-stream"));
  EXPECT_EQ(toOctetString(blobOf("streamed")), streamed.get_content());
  EXPECT_TRUE(streamed.verify(pki().rsa.certificate));

  // A stamp with a signer keeps it: it gives back the bytes read, and signs them again when told.
  const auto signer = tsa_test::rsaSigner(pki().other);
  CMSStamp server = signedStamp(signer, "ours");
  const CBlobList ours = listOf({pki().other.certificate});
  server.put_certificates(&ours);
  server.decode(opensslStamp("without certificates", "-nocerts"));
  EXPECT_EQ(ours, certificatesOf(server)) << "none in the message: kept";
  server.decode(message);
  EXPECT_EQ(message, server.encode());
  server.put_signingTime(CDateTime("20250101000000Z"));
  EXPECT_EQ("signed by openssl", opensslVerified(server.encode(), "other.pem"));
  EXPECT_TRUE(server.verify(pki().other.certificate));
}
