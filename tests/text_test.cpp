#include <gtest/gtest.h>

#include <random>
#include <string>

#include "uabase/text_datetime.h"
#include "uabase/text_nodeid.h"
#include "uabase/text_number.h"
#include "util/errors.h"

namespace vos {
namespace {

std::string text_of(const ua_nodeid& id) {
  return ua_nodeid_to_text(id);
}

TEST(NodeIdText, ParsesEachIdentifierTypeAndRejectsMalformedText) {
  ua_nodeid id;
  ASSERT_EQ(ua_nodeid_from_string(id, "i=5001"), 0);
  EXPECT_EQ(id, ua_nodeid(0, 5001));
  ASSERT_EQ(ua_nodeid_from_string(id, "ns=2;s=Line.Speed"), 0);
  EXPECT_EQ(id, ua_nodeid::make_string(2, "Line.Speed"));
  ASSERT_EQ(ua_nodeid_from_string(id, "ns=1;g=09087E75-8E5E-499B-954F-F2A9603DB28A"), 0);
  EXPECT_EQ(id.type(), ua_nodeid_type::guid);
  EXPECT_EQ(id.guid_id().data1, 0x09087e75u);
  EXPECT_EQ(id.guid_id().data4[7], 0x8a);
  ASSERT_EQ(ua_nodeid_from_string(id, "ns=4;b=AQID"), 0);
  EXPECT_EQ(id, ua_nodeid::make_opaque(4, std::vector<uint8_t>{1, 2, 3}));
  ASSERT_EQ(ua_nodeid_from_string(id, "i=12abc"), 0);  // text after the digits is ignored
  EXPECT_EQ(id, ua_nodeid(0, 12));

  const ua_nodeid before = id;
  const struct {
    const char* text;
    int status;
  } bad[] = {
      {"", UA_EBADINVALIDARGUMENT},
      {"ns=2", UA_EBADDECODING},
      {"ns=2i=1", UA_EBADDECODING},
      {"x=1", UA_EBADDECODING},
      {"i", UA_EBADDECODING},
      {"i=", UA_EBADDECODING},
      {"ns=;i=1", UA_EBADDECODING},
      {"ns=70000;i=1", UA_EBADOUTOFRANGE},
      {"i=4294967296", UA_EBADOUTOFRANGE},
      {"i=-1", UA_EBADINVALIDARGUMENT},
      {"g=09087e75-8e5e", UA_EBAD},
      {"g=09087e75-8e5e-499b-954ff2a9603db28a0", UA_EBAD},
      {"b=A", UA_EBADDECODING},
  };
  for (const auto& c : bad) {
    EXPECT_EQ(ua_nodeid_from_string(id, c.text), c.status) << c.text;
    EXPECT_EQ(id, before) << c.text;
  }
}

TEST(NodeIdText, RoundTripsAndWritesNamespaceZeroWithoutPrefix) {
  ua_guid g{0x01020304, 0xa0b0, 0xc0d0, {0xde, 0xad, 0xbe, 0xef, 0, 1, 2, 3}};
  const ua_nodeid ids[] = {
      ua_nodeid(0, 84),
      ua_nodeid(3, 0),
      ua_nodeid::make_string(7, "A;b=c s"),
      ua_nodeid::make_string(0, ""),
      ua_nodeid::make_guid(65535, g),
      ua_nodeid::make_opaque(2, std::vector<uint8_t>{0xff, 0, 0x10, 0x20}),
  };
  EXPECT_EQ(text_of(ids[0]), "i=84");
  EXPECT_EQ(text_of(ids[4]), "ns=65535;g=01020304-a0b0-c0d0-dead-beef00010203");
  EXPECT_EQ(text_of(ids[5]), "ns=2;b=/wAQIA==");
  for (const ua_nodeid& id : ids) {
    ua_nodeid back;
    ASSERT_EQ(ua_nodeid_from_string(back, text_of(id)), 0) << text_of(id);
    EXPECT_EQ(back, id) << text_of(id);
  }
}

TEST(NodeIdText, BufferFormsReportNeededLengthAndTruncation) {
  const ua_nodeid id = ua_nodeid::make_string(2, "Line.Speed");  // "ns=2;s=Line.Speed"
  EXPECT_EQ(ua_nodeid_to_string(id, nullptr, 0), 17);
  char buf[32];
  EXPECT_EQ(ua_nodeid_to_string(id, buf, sizeof buf), 17);
  EXPECT_STREQ(buf, "ns=2;s=Line.Speed");
  EXPECT_EQ(ua_nodeid_to_string(id, buf, 8), UA_EBADTRUNCATED);
  EXPECT_STREQ(buf, "ns=2;s=");
  ua_string owned;
  EXPECT_EQ(ua_nodeid_to_ua_string(id, owned), 0);
  EXPECT_EQ(owned.view(), "ns=2;s=Line.Speed");

  EXPECT_STREQ(ua_nodeid_printable(nullptr).c_str(), "<null>");
  EXPECT_STREQ(ua_nodeid_printable(ua_nodeid::make_string(1, "")).c_str(), "<empty>");
  EXPECT_STREQ(ua_nodeid_printable(ua_nodeid(5, 6)).c_str(), "ns=5;i=6");
  const std::string printed =
      ua_nodeid_printable(ua_nodeid::make_string(1, std::string(200, 'x'))).c_str();
  EXPECT_EQ(printed, "ns=1;s=" + std::string(56, 'x'));
}

TEST(GuidText, WritesLowerCaseAndNeedsEveryField) {
  ua_guid g;
  ASSERT_EQ(ua_guid_from_string(g, "ABCDEF01-2345-6789-ABCD-EF0123456789"), 0);
  EXPECT_EQ(ua_guid_to_text(g), "abcdef01-2345-6789-abcd-ef0123456789");
  for (const char* bad :
       {"abcdef01-2345-6789-abcd-ef012345678", "abcdef01-2345-6789-abcdef0123456789",
        "abcdef0g-2345-6789-abcd-ef0123456789", "abcdef01+2345-6789-abcd-ef0123456789"}) {
    EXPECT_EQ(ua_guid_from_string(g, bad), UA_EBAD) << bad;
  }
}

ua_datetime parse_dt(std::string_view text) {
  ua_datetime dt{-1};
  EXPECT_EQ(ua_datetime_from_string(dt, text), 0) << text;
  return dt;
}

std::string print_dt(ua_datetime dt) {
  char buf[40];
  EXPECT_GT(ua_datetime_to_string(dt, buf, sizeof buf), 0);
  return buf;
}

TEST(DateTimeText, FractionsZonesAndOffsets) {
  EXPECT_EQ(print_dt(parse_dt("2024-01-02T03:04:05.1200000Z")), "2024-01-02T03:04:05.12Z");
  EXPECT_EQ(print_dt(parse_dt("2024-01-02T03:04:05.0000001Z")), "2024-01-02T03:04:05.0000001Z");
  EXPECT_EQ(print_dt(parse_dt("2024-01-02T03:04:05.000Z")), "2024-01-02T03:04:05Z");
  EXPECT_EQ(print_dt(parse_dt("1601-01-01T00:00:00Z")), "1601-01-01T00:00:00Z");
  EXPECT_EQ(parse_dt("1601-01-01T00:00:00Z").ticks, 0);

  const ua_datetime utc = parse_dt("2024-01-02T01:04:05Z");
  EXPECT_EQ(parse_dt("2024-01-02T03:04:05+02:00"), utc);
  EXPECT_EQ(parse_dt("2024-01-02T03:04:05+0200"), utc);
  EXPECT_EQ(parse_dt("2024-01-02T03:04:05+02"), utc);
  EXPECT_EQ(parse_dt("2024-01-01T23:34:05-01:30"), utc);
  EXPECT_EQ(parse_dt("2024-01-02T03:04:05.5+02:00").ticks, utc.ticks + 5000000);
  // Leap days, and the day rolling back over a year end.
  EXPECT_EQ(print_dt(parse_dt("2024-02-29T12:00:00Z")), "2024-02-29T12:00:00Z");
  EXPECT_EQ(print_dt(parse_dt("2000-01-01T00:30:00+01:00")), "1999-12-31T23:30:00Z");
}

TEST(DateTimeText, RejectsBadShapesZonesAndDates) {
  ua_datetime dt{42};
  const struct {
    const char* text;
    int status;
  } bad[] = {
      {"2024-01-02T03:04:05", UA_EBAD},
      {"2024-01-02 03:04:05Z", UA_EBAD},
      {"2024-01-02T03:04:05X", UA_EBAD},
      {"2024-01-02T03:04:05.12", UA_EBAD},
      {"2024-01-02T03:04:05.12345678Z", UA_EBAD},
      {"2024-01-02T03:04:05+", UA_EBADINVALIDARGUMENT},
      {"2024-02-30T00:00:00Z", UA_EBADINVALIDARGUMENT},
      {"2023-13-01T00:00:00Z", UA_EBADINVALIDARGUMENT},
      {"2024-01-01T24:00:00Z", UA_EBADINVALIDARGUMENT},
      {"1500-01-01T00:00:00Z", UA_EBADOUTOFRANGE},
      {"1601-01-01T00:30:00+01:00", UA_EBADOUTOFRANGE},
  };
  for (const auto& c : bad) EXPECT_EQ(ua_datetime_from_string(dt, c.text), c.status) << c.text;
  EXPECT_EQ(dt.ticks, 42);
}

TEST(DateTimeText, RoundTripsUnixSecondsAndBufferLimits) {
  std::mt19937_64 rng(7);
  // Up to the year 9999, with and without fractions.
  std::uniform_int_distribution<int64_t> ticks(0, 2650467743999999999LL);
  for (int i = 0; i < 2000; ++i) {
    ua_datetime dt{ticks(rng)};
    if (i % 3 == 0) dt.ticks -= dt.ticks % UA_DATETIME_TICKS_PER_SECOND;
    EXPECT_EQ(parse_dt(print_dt(dt)), dt);
  }

  EXPECT_EQ(ua_datetime_to_unix(parse_dt("1970-01-01T00:00:00Z")), 0);
  EXPECT_EQ(ua_datetime_to_unix(parse_dt("1969-12-31T23:59:59Z")), 0);
  EXPECT_EQ(ua_datetime_to_unix(parse_dt("2024-01-02T03:04:05.9Z")), 1704164645);

  const ua_datetime frac = parse_dt("2024-01-02T03:04:05.12Z");
  char buf[32];
  EXPECT_EQ(ua_datetime_to_string(frac, buf, 23), UA_EBADTRUNCATED);  // no room for the 'Z'
  EXPECT_EQ(ua_datetime_to_string(frac, nullptr, 0), 23);
  ua_string owned;
  ASSERT_EQ(ua_datetime_to_ua_string(frac, owned), 0);
  EXPECT_EQ(owned.view(), "2024-01-02T03:04:05.12Z");
  EXPECT_EQ(ua_datetime_to_string(ua_datetime{-1}, buf, sizeof buf), UA_EBADOUTOFRANGE);
}

TEST(NumberText, RangesSignsBasesAndEndPointer) {
  uint32_t u32 = 7;
  const char* end = nullptr;
  const std::string_view text = " \t+42xyz";
  EXPECT_EQ(ua_strtouint32(text, &end, 10, u32), 0);
  EXPECT_EQ(u32, 42u);
  EXPECT_EQ(end, text.data() + 5);
  EXPECT_EQ(ua_strtouint32("4294967295", nullptr, 10, u32), 0);
  EXPECT_EQ(u32, 4294967295u);
  EXPECT_EQ(ua_strtouint32("4294967296", nullptr, 10, u32), UA_EBADOUTOFRANGE);
  EXPECT_EQ(ua_strtouint32("-1", nullptr, 10, u32), UA_EBADINVALIDARGUMENT);
  EXPECT_EQ(ua_strtouint32("+-1", nullptr, 10, u32), UA_EBADDECODING);
  EXPECT_EQ(ua_strtouint32("", &end, 10, u32), UA_EBADDECODING);
  EXPECT_EQ(ua_strtouint32("fF", nullptr, 16, u32), 0);
  EXPECT_EQ(u32, 255u);
  EXPECT_EQ(ua_strtouint32("z", nullptr, 36, u32), 0);
  EXPECT_EQ(u32, 35u);
  EXPECT_EQ(ua_strtouint32("19", &end, 8, u32), 0);  // stops at the first non-octal digit
  EXPECT_EQ(u32, 1u);
  EXPECT_EQ(ua_strtouint32("1", nullptr, 37, u32), UA_EBADINVALIDARGUMENT);

  uint16_t u16 = 0;
  EXPECT_EQ(ua_strtouint16("65536", nullptr, 10, u16), UA_EBADOUTOFRANGE);
  uint8_t u8 = 0;
  EXPECT_EQ(ua_strtouint8("255", nullptr, 10, u8), 0);
  EXPECT_EQ(ua_strtouint8("256", nullptr, 10, u8), UA_EBADOUTOFRANGE);
  EXPECT_EQ(u8, 255);

  int8_t i8 = 0;
  EXPECT_EQ(ua_strtoint8("-128", nullptr, 10, i8), 0);
  EXPECT_EQ(i8, -128);
  EXPECT_EQ(ua_strtoint8("-129", nullptr, 10, i8), UA_EBADOUTOFRANGE);
  EXPECT_EQ(ua_strtoint8("128", nullptr, 10, i8), UA_EBADOUTOFRANGE);
  int32_t i32 = 0;
  EXPECT_EQ(ua_strtoint32("-2147483648", nullptr, 10, i32), 0);
  EXPECT_EQ(i32, INT32_MIN);
  EXPECT_EQ(ua_strtoint32("2147483648", nullptr, 10, i32), UA_EBADOUTOFRANGE);
  EXPECT_EQ(ua_strtoint32("99999999999999999999999", nullptr, 10, i32), UA_EBADOUTOFRANGE);
}

TEST(NumberText, BoundedFormatter) {
  char buf[8];
  EXPECT_EQ(ua_snprintf(buf, sizeof buf, "%s", "1234567"), 7);
  EXPECT_EQ(ua_snprintf(buf, sizeof buf, "%s", "12345678"), UA_EBADTRUNCATED);
  EXPECT_STREQ(buf, "1234567");
  EXPECT_EQ(ua_snprintf(nullptr, 0, "%d", 12345), 5);
  EXPECT_EQ(ua_snprintf(buf, 0, "x"), UA_EBADINVALIDARGUMENT);
  EXPECT_EQ(ua_snprintf(nullptr, 4, "x"), UA_EBADINVALIDARGUMENT);
  const char* no_format = nullptr;
  EXPECT_EQ(ua_vsnprintf(buf, sizeof buf, no_format, nullptr), UA_EBADINVALIDARGUMENT);
}

}  // namespace
}  // namespace vos
