// CMSStamp with what only the Linux platform layer offers: provider reference counts
// (ZtGetProviderReferenceCount), P-256 keys (ZtAcquireContextFromPrivateKey), and the
// messageDigest check that Wine leaves out (docs/wine-differences.md).
#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <string>

#include "authenticode/ms_stamp.h"
#include "outside/ztasn1/octet_string.h"
#include "platform/key_provider.h"
#include "tests/support/test_support.h"
#include "tests/support/tsa_fixture.h"

using tsa_test::pki;
using tsa_test::sha256;
using Zanthorel::CBlob;
using Zanthorel::CDateTime;
using Zanthorel::ASN1::toOctetString;
using Zanthorel::PKI::TSP::CMSStamp;
using zttsp_test::blobOf;

TEST(MSStampProvider, EveryStampWithASignerHoldsOneReferenceOfItsOwn) {
  const auto first = tsa_test::rsaSigner();
  const auto second = tsa_test::rsaSigner(pki().other);
  const HCRYPTPROV a = first.provider();
  const HCRYPTPROV b = second.provider();
  {
    CMSStamp stamp(toOctetString(blobOf("x")), CDateTime("20240621071205Z"));
    EXPECT_EQ(1u, ZtGetProviderReferenceCount(a)) << "without signer: none";
    stamp.sign(a, first.keySpec(), first.certificate(), sha256());
    stamp.sign(a, first.keySpec(), first.certificate(), sha256());
    EXPECT_EQ(2u, ZtGetProviderReferenceCount(a)) << "the same handle again: still one";
    {
      CMSStamp assigned;
      assigned = stamp;
      EXPECT_EQ(3u, ZtGetProviderReferenceCount(a)) << "copies hold their own";
    }
    EXPECT_EQ(2u, ZtGetProviderReferenceCount(a));

    stamp.sign(b, second.keySpec(), second.certificate(), sha256());
    EXPECT_EQ(1u, ZtGetProviderReferenceCount(a));
    EXPECT_EQ(2u, ZtGetProviderReferenceCount(b));

    // A refused handle: the old reference is given back, and not a second time later.
    EXPECT_HRESULT(E_INVALIDARG, stamp.sign(0, first.keySpec(), first.certificate(), sha256()));
    EXPECT_EQ(1u, ZtGetProviderReferenceCount(b));
    EXPECT_HRESULT(S_OK, stamp.encode()) << "still with signer";
  }
  EXPECT_EQ(1u, ZtGetProviderReferenceCount(a));
  EXPECT_EQ(1u, ZtGetProviderReferenceCount(b));
}

TEST(MSStampProvider, OpensslVerifiesStampsOfP256Keys) {
  const auto signer = tsa_test::ecSigner();
  CMSStamp stamp(toOctetString(blobOf("stamped with P-256")), CDateTime("20240621071205Z"));
  stamp.sign(signer.provider(), 0, signer.certificate(), sha256());
  zttsp_test::writeFile(pki().dir + "/ec-stamp.der", stamp.encode());
  tsa_test::shell(
      "openssl cms -verify -binary -noverify -inform DER -in ec-stamp.der -certfile ec.pem "
      "-out ec-content.bin");
  EXPECT_EQ("stamped with P-256", zttsp_test::readText(pki().dir + "/ec-content.bin"));
  EXPECT_TRUE(stamp.verify(signer.certificate()));
  EXPECT_FALSE(stamp.verify(pki().rsa.certificate));
}

TEST(MSStampProvider, AChangedContentTimeOrSignatureNeverVerifies) {
  const auto signer = tsa_test::rsaSigner();
  CMSStamp stamp(toOctetString(blobOf("the stamped signature")), CDateTime("20240621071205Z"));
  stamp.sign(signer.provider(), signer.keySpec(), signer.certificate(), sha256());
  const CBlob message = stamp.encode();
  const auto offsetOf = [&message](const std::string& text) {
    const auto* begin = message.pbData();
    return std::search(begin, begin + message.cbData(), text.begin(), text.end()) - begin;
  };
  // The signature closes the message: no unsigned attributes follow it.
  for (const std::ptrdiff_t offset :
       {offsetOf("stamped"), offsetOf("240621071205Z"), std::ptrdiff_t(message.cbData() - 9)}) {
    SCOPED_TRACE(offset);
    CBlob changed = message;
    changed.pbData()[offset] ^= 0x01;
    stamp.decode(changed);
    EXPECT_FALSE(stamp.verify(signer.certificate()));
  }
}
