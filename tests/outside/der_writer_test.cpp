// The DER writer: minimal lengths filled in afterwards, SET OF in DER order, sticky failures.
// (INTEGER and BOOLEAN forms go through the vectors written back byte for byte.)
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "outside/asn1rt/asn1_buffers.h"
#include "tests/support/test_support.h"

using Zanthorel::BER::BerReader;
using Zanthorel::BER::DerWriter;

using Zanthorel::CBlob;
using zttsp_test::toHex;

namespace {

std::string written(const DerWriter& out) {
  return toHex(CBlob(out.data(), static_cast<std::uint32_t>(out.size())));
}

}  // namespace

TEST(DerWriter, WritesMinimalLengthsAcrossTheirBoundaries) {
  for (std::size_t length : {0u, 127u, 128u, 255u, 256u, 65535u, 65536u}) {
    ASN1CTXT ctxt;
    DerWriter out(&ctxt);
    const std::size_t outer = out.open(kTagSequence);
    const std::size_t inner = out.open(kTagSequence);
    std::vector<OSOCTET> body(length, 0xAB);
    out.putOctetString({static_cast<OSUINT32>(body.size()), body.data()});
    out.close(inner);
    out.close(outer);
    ASSERT_TRUE(out.ok());
    // Read it back strictly: every length must be the one DER asks for.
    BerReader in(out.data(), out.size(), &ctxt);
    BerReader seq, seq2;
    ASN1DynOctStr value;
    ASSERT_TRUE(in.readSequence(seq) && seq.readSequence(seq2) && seq2.readOctetString(value));
    EXPECT_EQ(length, value.numocts);
    const std::string hex = written(out);
    if (length == 127) {
      EXPECT_EQ("308184308181047F", hex.substr(0, 16));
    }
    if (length == 65536) {
      EXPECT_EQ("308301000A3083010005048301000", hex.substr(0, 29));
    }
  }
}

// Shorter encodings first because their length octet differs before the contents do; a value
// taken whole from BER input keeps its indefinite length, and sorting must step over it whole.
TEST(DerWriter, SortsSetOfIntoDerOrder) {
  ASN1CTXT ctxt;
  DerWriter out(&ctxt);
  const std::size_t set = out.open(kTagSet);
  const OSOCTET a[] = {0x02, 0x01, 0x05}, b[] = {0x02, 0x01, 0x03};
  const OSOCTET indefinite[] = {0x30, 0x80, 0x02, 0x01, 0x05, 0x00, 0x00};
  out.putElement(kTagSequence, a, sizeof a);
  out.putOpenType({sizeof indefinite, indefinite});
  out.putElement(kTagSequence, b, sizeof b);
  out.putBoolean(true);
  out.closeSetOf(set);
  EXPECT_EQ("31140101FF3003020103300302010530800201050000", written(out));

  // An element cut short is found by the reader and refused, not read past.
  DerWriter cut(&ctxt);
  const OSOCTET shortElement[] = {0x30, 0x05, 0x02};
  const std::size_t cutSet = cut.open(kTagSet);
  cut.putOpenType({sizeof shortElement, shortElement});
  cut.closeSetOf(cutSet);
  EXPECT_EQ(ASN_E_ENDOFBUF, cut.status());
}

TEST(DerWriter, KeepsTheFirstFailure) {
  ASN1CTXT ctxt;
  DerWriter out(&ctxt);
  out.putObjId(ASN1OBJID{});  // no arcs
  out.putInteger("12x");
  EXPECT_FALSE(out.ok());
  EXPECT_EQ(ASN_E_INVPARAM, out.status());
  const std::size_t before = out.size();
  out.putBoolean(true);
  EXPECT_EQ(before, out.size());
}
