// The base value types: CBlob and CDateTime.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "outside/ztlib/blob.h"
#include "outside/ztlib/date_time.h"

using Zanthorel::CBlob;
using Zanthorel::CDateTime;

TEST(Blob, OwnsItsBytes) {
  CBlob empty;
  EXPECT_EQ(0u, empty.cbData());
  EXPECT_EQ(nullptr, empty.pbData());
  EXPECT_EQ(nullptr, CBlob("", 0).pbData());

  CBlob blob("abcdef", 6);
  CBlob copy = blob;
  blob.pbData()[0] = 'X';
  EXPECT_EQ(CBlob("abcdef", 6), copy);
  blob.assign(blob.pbData() + 2, 3);  // from its own bytes
  EXPECT_EQ(CBlob("cde", 3), blob);
  blob.resize_to(5);
  EXPECT_EQ(CBlob("cde\0\0", 5), blob);
  blob.resize_to(1);
  EXPECT_EQ(CBlob("c", 1), blob);
  blob.clear();
  EXPECT_TRUE(blob.empty());
  EXPECT_EQ(4u, CBlob(4).cbData());
}

TEST(DateTime, ReadsEveryGeneralizedTimeForm) {
  const struct {
    const char* text;
    std::int64_t seconds;
    std::uint32_t nanos;
  } cases[] = {
      {"19700101000000Z", 0, 0},
      {"20240621071205.884Z", 1718953925, 884000000},
      {"20171218173416.800812Z", 1513618456, 800812000},
      {"20170210140752.5Z", 1486735672, 500000000},
      {"20240229120000Z", 1709208000, 0},
      {"202406210712Z", 1718953920, 0},
      {"2024062107Z", 1718953200, 0},
      {"20240621091205+0200", 1718953925, 0},
      {"20240621071205,25Z", 1718953925, 250000000},
      {"20240621071205", 1718953925, 0},
      {"19491231235959Z", -631152001, 0},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.text);
    CDateTime t;
    ASSERT_TRUE(CDateTime::parseGeneralizedTime(c.text, std::strlen(c.text), t));
    EXPECT_EQ(c.seconds, t.get_seconds());
    EXPECT_EQ(c.nanos, t.get_nanoseconds());
  }
  for (const char* bad : {"20241301000000Z", "20230229000000Z", "20240621246000Z",
                          "20240621071205.Z", "20240621071205Zjunk", "2024062107120", ""}) {
    CDateTime t(5, 5);
    EXPECT_FALSE(CDateTime::parseGeneralizedTime(bad, std::strlen(bad), t)) << bad;
    EXPECT_EQ(CDateTime(5, 5), t) << "left unchanged";
  }
  EXPECT_TRUE(CDateTime("not a time").isUnset());
}

TEST(DateTime, WritesGeneralizedTimeWithoutTrailingZeros) {
  EXPECT_STREQ("20240621071205.884Z",
               CDateTime(1718953925, 884000000).getGeneralizedTime().c_str());
  EXPECT_STREQ("20240621071205.5Z", CDateTime(1718953925, 500000000).getGeneralizedTime().c_str());
  EXPECT_STREQ("20240621071205.000000001Z", CDateTime(1718953925, 1).getGeneralizedTime().c_str());
  EXPECT_STREQ("20240621071205Z", CDateTime(1718953925, 0).getGeneralizedTime().c_str());
  EXPECT_STREQ("19700101000000Z", CDateTime().getGeneralizedTime().c_str());
  EXPECT_STREQ("240621071205Z", CDateTime(1718953925, 0).getUTCTime().c_str());
  for (std::int64_t s : {-62135596800LL, -1LL, 0LL, 951782400LL, 4102444800LL, 253402300799LL}) {
    const CDateTime t(s, 123000000);
    EXPECT_EQ(t, CDateTime(t.getGeneralizedTime().c_str())) << s;
  }
}

TEST(DateTime, ReadsUtcTimeWithItsCenturyRule) {
  CDateTime t;
  ASSERT_TRUE(CDateTime::parseUTCTime("490101000000Z", 13, t));
  EXPECT_EQ(2049, t.year());
  ASSERT_TRUE(CDateTime::parseUTCTime("500101000000Z", 13, t));
  EXPECT_EQ(1950, t.year());
  ASSERT_TRUE(CDateTime::parseUTCTime("1909120613Z", 11, t)) << "seconds left out";
  EXPECT_FALSE(CDateTime::parseUTCTime("190912061342", 12, t)) << "UTCTime needs a zone";
}
