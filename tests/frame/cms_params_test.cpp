// Attribute and certificate lists to the arrays of the CMS message functions, and back.
#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "frame/cms_params.h"
#include "tests/support/test_support.h"

using namespace Zanthorel::PKI::TSP;
using Zanthorel::CBlob;
using Zanthorel::CBlobList;
using Zanthorel::ASN1::CAttribute;
using Zanthorel::ASN1::CAttributes;
using zttsp_test::fromHex;
using zttsp_test::toHex;

namespace {

CAttribute attribute(const char* oid, std::initializer_list<const char*> hexValues) {
  CAttribute a(oid);
  for (const char* hex : hexValues)
    a.add(fromHex(hex));
  return a;
}

std::string valueHex(const CRYPT_ATTR_BLOB& blob) {
  return toHex(CBlob(blob.pbData, blob.cbData));
}

}  // namespace

TEST(CmsParams, ConvertsAttributesIntoStoresThatOutliveTheSource) {
  CmsKeepAliveStores stores;
  stores.oidCopies.reserve(3);
  stores.valueBlobs.reserve(5);
  stores.valueCopies.reserve(5);
  auto authenticated = std::make_unique<CAttributes>();
  authenticated->push_back(attribute("1.2.840.113549.1.9.5", {"170D3234303130323033303430355A"}));
  authenticated->push_back(attribute("1.2.3", {"0500", "0101FF", "020101"}));
  CAttributes unauthenticated;
  unauthenticated.push_back(attribute("1.2.4", {"0400"}));

  const auto signedArray =
      toCryptAttributes(*authenticated, stores.oidCopies, stores.valueBlobs, stores.valueCopies);
  const auto unsignedArray =
      toCryptAttributes(unauthenticated, stores.oidCopies, stores.valueBlobs, stores.valueCopies);
  authenticated.reset();  // the arrays must not point into the source
  unauthenticated.front() = attribute("9.9", {"0500"});

  ASSERT_EQ(2u, signedArray.size());
  ASSERT_EQ(1u, unsignedArray.size());
  EXPECT_STREQ("1.2.840.113549.1.9.5", signedArray[0].pszObjId);
  EXPECT_EQ("170D3234303130323033303430355A", valueHex(signedArray[0].rgValue[0]));
  ASSERT_EQ(3u, signedArray[1].cValue);
  EXPECT_EQ(&stores.valueBlobs[1], signedArray[1].rgValue) << "a run of its own values";
  EXPECT_EQ("020101", valueHex(signedArray[1].rgValue[2]));
  EXPECT_STREQ("1.2.4", unsignedArray[0].pszObjId);
  EXPECT_EQ(&stores.valueBlobs[4], unsignedArray[0].rgValue) << "after the signed values";
  EXPECT_EQ("0400", valueHex(unsignedArray[0].rgValue[0]));
}

TEST(CmsParams, ReadsAttributesBackWithEveryValue) {
  EXPECT_TRUE(fromCryptAttributes(CRYPT_ATTRIBUTES{0, nullptr}).empty());

  BYTE v1[] = {0x05, 0x00}, v2[] = {0x01, 0x01, 0xFF}, v3[] = {0x04, 0x00};
  CRYPT_ATTR_BLOB first[] = {{sizeof v1, v1}};
  CRYPT_ATTR_BLOB second[] = {{sizeof v2, v2}, {sizeof v3, v3}};
  char oid1[] = "1.2.3", oid2[] = "1.2.3";  // duplicates are kept
  CRYPT_ATTRIBUTE attributes[] = {{oid1, 1, first}, {oid2, 2, second}};
  const CAttributes list = fromCryptAttributes(CRYPT_ATTRIBUTES{2, attributes});
  v2[2] = 0;  // everything was copied
  ASSERT_EQ(2u, list.size());
  ASSERT_EQ(2u, list.back().size());
  EXPECT_EQ("0101FF", toHex(list.back().begin()->get_value()));
  EXPECT_EQ("0400", toHex(std::next(list.back().begin())->get_value()));
}

TEST(CmsParams, FillsTheParameterBlocksOfOneSigningCall) {
  CERT_INFO info{};
  CERT_CONTEXT context{};
  context.pCertInfo = &info;
  const Zanthorel::ASN1::CAlgorithmIdentifier sha256("2.16.840.1.101.3.4.2.1", fromHex("0500"));

  const CAttributes empty;
  CmsSignParameters none(&context, 7, AT_SIGNATURE, sha256, &empty, nullptr, nullptr);
  EXPECT_EQ(0u, none.signer().cAuthAttr) << "a present empty list is handed over as absent";
  EXPECT_EQ(nullptr, none.signer().rgAuthAttr);
  EXPECT_EQ(nullptr, none.signer().rgUnauthAttr);
  EXPECT_EQ(nullptr, none.signedInfo()->rgCertEncoded);

  // Many values in few attributes: the value stores must not move while the first array is
  // held (under ASan a moved store would be a use after free).
  CAttributes many;
  many.push_back(attribute("1.2.3", {"0500", "0500", "0500", "0500", "0500", "0500", "0500"}));
  CAttributes later;
  later.push_back(attribute("1.2.4", {"0400", "0400", "0400", "0400", "0400", "0400", "0400"}));
  auto certificates = std::make_unique<CBlobList>();
  certificates->push_back(fromHex("3000"));
  certificates->push_back(fromHex("3003020101"));
  CmsSignParameters full(&context, 7, AT_SIGNATURE, sha256, &many, &later, certificates.get());
  certificates.reset();  // the blocks hold copies, in order
  ASSERT_EQ(2u, full.signedInfo()->cCertEncoded);
  const CERT_BLOB& second = full.signedInfo()->rgCertEncoded[1];
  EXPECT_EQ("3003020101", toHex(CBlob(second.pbData, second.cbData)));
  ASSERT_EQ(1u, full.signer().cAuthAttr);
  ASSERT_EQ(7u, full.signer().rgAuthAttr[0].cValue);
  EXPECT_EQ("0500", valueHex(full.signer().rgAuthAttr[0].rgValue[6]));
  EXPECT_EQ("0400", valueHex(full.signer().rgUnauthAttr[0].rgValue[6]));
}
