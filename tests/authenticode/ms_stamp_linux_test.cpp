// CMSStamp and the provider reference counts that only the Linux platform layer shows
// (ZtGetProviderReferenceCount). (openssl verifies stamps of P-256 keys in the platform tests,
// through the same signing path.)
#include <gtest/gtest.h>

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
