// oidBoundValue belongs to the identifier it came with, and copies carry it.
#include <gtest/gtest.h>

#include "frame/algorithm_identifier_ex.h"
#include "tests/support/test_support.h"

using Zanthorel::ASN1::CAlgorithmIdentifierEx;
using zttsp_test::fromHex;

namespace {
const char kSha256[] = "2.16.840.1.101.3.4.2.1";
const char kSha1[] = "1.3.14.3.2.26";
}  // namespace

TEST(AlgorithmIdentifierEx, KeepsItsValueWhileTheIdentifierStaysAndInCopies) {
  CAlgorithmIdentifierEx id(kSha256, fromHex("0500"));
  id.put_oidBoundValue(0x800C);
  id.put_algorithm(kSha256);
  EXPECT_EQ(0x800Cu, id.get_oidBoundValue());
  EXPECT_EQ(fromHex("0500"), id.get_parameters()) << "parameters kept as well";
  EXPECT_EQ(0x800Cu, CAlgorithmIdentifierEx(id).get_oidBoundValue());
  CAlgorithmIdentifierEx assigned;
  assigned = id;
  CAlgorithmIdentifierEx& same = assigned;
  assigned = same;
  EXPECT_EQ(0x800Cu, assigned.get_oidBoundValue());
  EXPECT_STREQ(kSha256, assigned.get_algorithm());

  id.put_algorithm(kSha1);
  EXPECT_EQ(0u, id.get_oidBoundValue());
  EXPECT_STREQ(kSha1, id.get_algorithm());

  // Through the base class the override still runs.
  Zanthorel::ASN1::CAlgorithmIdentifier& base = id;
  id.put_oidBoundValue(7);
  base.put_algorithm(kSha256);
  EXPECT_EQ(0u, id.get_oidBoundValue());
}
