// The BER reader: every valid BER form is read, malformed input is refused with its status.
// (Nesting depth and truncation at every offset are rows of the hostile-input catalogue.)
#include <gtest/gtest.h>

#include <string>

#include "outside/asn1/tsp.h"
#include "tests/support/test_support.h"

using Zanthorel::BER::BerReader;

using Zanthorel::CBlob;
using zttsp_test::fromHex;

namespace {

// SHA-256 of five zero bytes, certReq TRUE, no nonce: what `openssl ts -query -cert -no_nonce`
// writes.
const char kRequestDer[] =
    "3039 020101 3031 300D 0609608648016503040201 0500"
    "0420 8855508AADE16EC573D21E6A485DFD0A7624085C1A14B5ECDD6485DE0C6839A4 0101FF";
const char kHash[] = "8855508AADE16EC573D21E6A485DFD0A7624085C1A14B5ECDD6485DE0C6839A4";

struct Decoded {
  int status;
  std::string hash;
  std::string version;
  bool certReq;
};

Decoded decodeRequest(const CBlob& bytes) {
  ASN1BERDecodeBuffer buffer(bytes.pbData(), bytes.cbData());
  ASN1T_TimeStampReq request;
  Decoded d{ASN1C_TimeStampReq(buffer, request).Decode(), "", "", false};
  if (d.status == 0) {
    d.hash = zttsp_test::toHex(CBlob(request.messageImprint.hashedMessage.data,
                                     request.messageImprint.hashedMessage.numocts));
    d.version = request.version;
    d.certReq = request.certReq != 0;
  }
  return d;
}

int readOpenType(const std::string& hex) {
  const CBlob bytes = fromHex(hex);
  ASN1CTXT ctxt;
  BerReader in(bytes.pbData(), bytes.cbData(), &ctxt);
  ASN1OpenType value;
  if (!in.readOpenType(value)) return ctxt.status;
  return in.empty() ? ASN_OK : ASN_E_EXTRA;
}

}  // namespace

TEST(BerReader, ReadsEveryBerFormOfARequestAlike) {
  const struct {
    const char* hex;
    const char* why;
  } forms[] = {
      {kRequestDer, "DER as OpenSSL writes it"},
      {"3080 020101 3031 300D 0609608648016503040201 0500"
       "0420 8855508AADE16EC573D21E6A485DFD0A7624085C1A14B5ECDD6485DE0C6839A4 0101FF 0000",
       "indefinite length on the outer SEQUENCE"},
      {"3080 020101 3080 3080 0609608648016503040201 0500 0000"
       "0420 8855508AADE16EC573D21E6A485DFD0A7624085C1A14B5ECDD6485DE0C6839A4 0000 0101FF 0000",
       "indefinite lengths nested three deep"},
      {"30820039 020101 3031 300D 0609608648016503040201 0500"
       "0420 8855508AADE16EC573D21E6A485DFD0A7624085C1A14B5ECDD6485DE0C6839A4 0101FF",
       "non-minimal long-form length"},
      {"303D 020101 3035 300D 0609608648016503040201 0500"
       "2424 0410 8855508AADE16EC573D21E6A485DFD0A 0410 7624085C1A14B5ECDD6485DE0C6839A4 0101FF",
       "constructed OCTET STRING"},
      {"3080 020101 3080 300D 0609608648016503040201 0500"
       "2480 0410 8855508AADE16EC573D21E6A485DFD0A 2480 0410 7624085C1A14B5ECDD6485DE0C6839A4 0000"
       "0000 0000 010101 0000",
       "constructed OCTET STRING, indefinite, segments nested; BOOLEAN TRUE as 01"},
  };
  for (const auto& form : forms) {
    SCOPED_TRACE(form.why);
    const Decoded d = decodeRequest(fromHex(form.hex));
    ASSERT_EQ(0, d.status);
    EXPECT_EQ(kHash, d.hash);
    EXPECT_STREQ("0x1", d.version.c_str());
    EXPECT_TRUE(d.certReq);
  }
  // Fields out of order are not a TimeStampReq.
  EXPECT_EQ(
      ASN_E_EXTRA,
      decodeRequest(fromHex("303C 020101 3031 300D 0609608648016503040201 0500"
                            "0420 8855508AADE16EC573D21E6A485DFD0A7624085C1A14B5ECDD6485DE0C6839A4"
                            "0101FF 020100"))
          .status);
}

TEST(BerReader, RefusesMalformedElements) {
  const struct {
    const char* hex;
    int status;
    const char* why;
  } cases[] = {
      {"30", ASN_E_ENDOFBUF, "identifier without length"},
      {"3003 0201", ASN_E_ENDOFBUF, "contents shorter than the length"},
      {"30 84 80000000 00", ASN_E_ENDOFBUF, "length 2^31 in a tiny input"},
      {"30 84 FFFFFFFF 00", ASN_E_ENDOFBUF, "length 2^32-1"},
      {"30 88 8000000000000000 00", ASN_E_ENDOFBUF, "length 2^63"},
      {"30 89 010000000000000000 00", ASN_E_INVLEN, "more than 8 length octets"},
      {"30 FF", ASN_E_INVLEN, "reserved length octet 0xFF"},
      {"0480 0000", ASN_E_INVLEN, "indefinite length on a primitive"},
      {"3080 0201 00", ASN_E_ENDOFBUF, "indefinite length without end-of-contents"},
      {"3003 0000 00", ASN_E_BADTAG, "end-of-contents inside a definite length"},
      {"0000", ASN_E_BADTAG, "a stray end-of-contents"},
      {"1F8001 00", ASN_E_BADTAG, "high tag number with a leading 0x80 octet"},
      {"1F1E 00", ASN_E_BADTAG, "high-tag form for a number below 31"},
      {"1F8880808000 00", ASN_E_BADTAG, "tag number of 2^31"},
      {"3002 3000 00", ASN_E_EXTRA, "bytes after the element"},
      {"3004 3003 0201 01", ASN_E_ENDOFBUF, "child runs past its parent"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.why);
    EXPECT_EQ(c.status, readOpenType(c.hex)) << c.hex;
  }
  EXPECT_EQ(ASN_OK, readOpenType("5F1F00")) << "tag 31 in high-tag form";
  EXPECT_EQ(ASN_OK, readOpenType("BF8F7F 03 020101")) << "tag 2047, constructed";
}

TEST(BerReader, ReadsTypedValuesStrictly) {
  ASN1CTXT ctxt;
  const auto reader = [&](const char* hex, CBlob& keep) {
    keep = fromHex(hex);
    ctxt.status = ASN_OK;
    return BerReader(keep.pbData(), keep.cbData(), &ctxt);
  };
  CBlob bytes;
  OSBOOL flag;
  EXPECT_FALSE(reader("010200FF", bytes).readBoolean(flag)) << "BOOLEAN of two octets";
  EXPECT_FALSE(reader("0100", bytes).readBoolean(flag)) << "BOOLEAN without octets";
  const char* text;
  EXPECT_FALSE(reader("0200", bytes).readInteger(text)) << "INTEGER without octets";
  EXPECT_FALSE(reader("2203020101", bytes).readInteger(text)) << "constructed INTEGER";
  ASSERT_TRUE(reader("0203FF0000", bytes).readInteger(text));
  EXPECT_STREQ("-0x10000", text);
  ASSERT_TRUE(reader("02020080", bytes).readInteger(text));
  EXPECT_STREQ("0x80", text);
  ASSERT_TRUE(reader("0215 00 FFEEDDCCBBAA99887766554433221100FFEEDDCC", bytes).readInteger(text));
  EXPECT_STREQ("0xFFEEDDCCBBAA99887766554433221100FFEEDDCC", text) << "160-bit serial";
  OSUINT32 u32;
  EXPECT_FALSE(reader("020501 00000000", bytes).readUInt32(u32)) << "2^32 does not fit";
  EXPECT_EQ(ASN_E_RANGE, ctxt.status);
  ASSERT_TRUE(reader("020500FFFFFFFF", bytes).readUInt32(u32));
  EXPECT_EQ(0xFFFFFFFFu, u32);
  OSUINT16 u16;
  EXPECT_FALSE(reader("0203010000", bytes).readUInt16(u16)) << "65536 does not fit";
  EXPECT_FALSE(reader("0201FF", bytes).readUInt16(u16)) << "negative";

  ASN1OBJID oid;
  EXPECT_FALSE(reader("0600", bytes).readObjId(oid)) << "no arcs";
  EXPECT_FALSE(reader("0603 2A8001", bytes).readObjId(oid)) << "arc starting with 0x80";
  EXPECT_FALSE(reader("0602 2A86", bytes).readObjId(oid)) << "last arc unfinished";
  EXPECT_FALSE(reader("060B 2A 82808080808080808000", bytes).readObjId(oid)) << "arc of 2^64";
  EXPECT_TRUE(reader("060B 2A 81FFFFFFFFFFFFFFFF7F", bytes).readObjId(oid)) << "arc 2^64-1";
  std::string huge = "06830186A0" + std::string(200000, '2');
  EXPECT_FALSE(reader(huge.c_str(), bytes).readObjId(oid)) << "100 KB identifier";

  ASN1DynBitStr bits;
  EXPECT_FALSE(reader("030108", bytes).readBitString(bits)) << "unused bits without octets";
  EXPECT_FALSE(reader("03020880", bytes).readBitString(bits)) << "8 unused bits";
  ASSERT_TRUE(reader("2380 03020000 03020780 0000", bytes).readBitString(bits));
  EXPECT_EQ(9u, bits.numbits) << "constructed BIT STRING";
  EXPECT_FALSE(reader("2308 03020701 03020780", bytes).readBitString(bits))
      << "unused bits in a segment that is not the last";
  EXPECT_FALSE(reader("0C03 41 00 42", bytes).readText(text, kTagUTF8String))
      << "text holding a NUL";
}

TEST(BerReader, AllocatesNothingOnTheStrengthOfAClaimedLength) {
  // A constructed string whose segments claim more than the input holds must fail before any
  // memory is taken for them.
  const CBlob bytes = fromHex("2484 7FFFFFFF 0484 7FFFFFF0 00");
  ASN1CTXT ctxt;
  BerReader in(bytes.pbData(), bytes.cbData(), &ctxt);
  ASN1DynOctStr value;
  EXPECT_FALSE(in.readOctetString(value));
  EXPECT_EQ(0u, ctxt.heap.allocated);
}
