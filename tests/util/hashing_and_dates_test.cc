#include <gtest/gtest.h>

#include <cstdlib>

#include "util/dates.h"
#include "util/hashing.h"

namespace quelto::util {
namespace {

using std::chrono::seconds;

/// The zone of this process, until the end of the test.
class Zone {
 public:
  explicit Zone(const char* zone) { enter(zone); }
  ~Zone() { ::unsetenv("TZ"); }
  Zone(const Zone&) = delete;
  Zone& operator=(const Zone&) = delete;
  void enter(const char* zone) const { ::setenv("TZ", zone, 1); }
};

// Zones by their rules, which need no database of zones on the machine.
constexpr const char* utc = "UTC0";
constexpr const char* berlin = "CET-1CEST,M3.5.0,M10.5.0/3";
constexpr const char* stJohns = "NST3:30NDT,M3.2.0,M11.1.0";
constexpr const char* kolkata = "IST-5:30";
constexpr const char* monroviaBefore1972 = "LMT0:44:30";
constexpr const char* furthestEast = "<+24>-24:59:59";

TEST(Dates, AreWrittenInLocalTimeAndReadAgain) {
  const struct {
    const char* zone;
    std::int64_t date;
    const char* text;
  } rows[] = {
      {utc, 1704164645, "2024-01-02 03:04:05 Z"},
      {utc, -1, "1969-12-31 23:59:59 Z"},
      {utc, 951782400, "2000-02-29 00:00:00 Z"},
      {utc, -14825808000, "1500-03-11 00:00:00 Z"},
      {utc, -62135596800, "0001-01-01 00:00:00 Z"},
      {utc, 253402300799, "9999-12-31 23:59:59 Z"},
      {berlin, 1711846799, "2024-03-31 01:59:59 +01:00"},
      {berlin, 1711846800, "2024-03-31 03:00:00 +02:00"},
      {berlin, 1729990799, "2024-10-27 02:59:59 +02:00"},
      {berlin, 1729990800, "2024-10-27 02:00:00 +01:00"},
      {stJohns, 1704164645, "2024-01-01 23:34:05 -03:30"},
      {stJohns, 1720000000, "2024-07-03 07:16:40 -02:30"},
      {kolkata, 1704164645, "2024-01-02 08:34:05 +05:30"},
      {"FOO3:30", 1720000000, "2024-07-03 06:16:40 -03:30"},
      {monroviaBefore1972, -1, "1969-12-31 23:15:29 -00:44:30"},
      {monroviaBefore1972, 253402303469, "9999-12-31 23:59:59 -00:44:30"},
      {furthestEast, 1704164645, "2024-01-03 04:04:04 +24:59:59"},
      {furthestEast, -62135686799, "0001-01-01 00:00:00 +24:59:59"},
      {"no/such zone", 1704164645, "2024-01-02 03:04:05 Z"},
      // Other years have no text.
      {utc, -62135596801, ""},
      {utc, 253402300800, ""},
      {berlin, 253402297200, ""},
      {furthestEast, -62135686800, ""},
      {monroviaBefore1972, -62135594131, ""},
      // 65536 years after 2024, which a calendar of 16 bits takes for 2024.
      {utc, 2069835481680, ""},
      {kolkata, Date::min().time_since_epoch().count(), ""},
      {stJohns, Date::max().time_since_epoch().count(), ""},
  };
  const Zone zone(utc);
  for (const auto& row : rows) {
    zone.enter(row.zone);
    const Date date{seconds(row.date)};
    EXPECT_EQ(toIsoText(date), row.text) << row.zone << " " << row.date;
    // Wherever it is read.
    zone.enter(kolkata);
    EXPECT_EQ(fromIsoText(row.text), *row.text != '\0' ? std::optional(date) : std::nullopt) << row.text;
  }
}

TEST(Dates, AreReadStrictly) {
  for (const char* text : {"2024-01-02 03:04:05 +00:00", "2024-01-02 03:04:05 -00:00:00",
                           "2024-01-01 23:34:05 -03:30", "2024-01-03 04:04:04 +24:59:59"}) {
    EXPECT_EQ(fromIsoText(text), Date{seconds(1704164645)}) << text;
  }
  const std::string day = "2024-01-02 ";
  const std::string time = "03:04:05 ";
  for (const std::string zone : {"", " Z", "Z ", "Z\n", "z", "UTC", "02:00", "+0200", "+02", "+2:00",
                                 "+02:60", "+02:00:60", "+02:00:0", "+25:00", "\u221202:00"})
    EXPECT_EQ(fromIsoText(day + time + zone), std::nullopt) << zone;
  for (const std::string date :
       {"2024-1-2", "02024-01-02", "24-01-02", "+024-01-02", " 2024-01-02", "2024/01/02", "\uFF12024-01-02",
        "0000-12-31", "2024-00-01", "2024-13-01", "2024-01-00", "2024-02-30", "2023-02-29", "1900-02-29",
        "1500-02-29", "2024-04-31"})
    EXPECT_EQ(fromIsoText(date + " " + time + "Z"), std::nullopt) << date;
  for (const char* noTime : {"+3:04:05 Z", "24:00:00 Z", "03:60:05 Z", "03:04:05", "03:04:05Z"})
    EXPECT_EQ(fromIsoText(day + noTime), std::nullopt) << noTime;
  for (const std::string& wrong : {std::string(), day + time + "Z" + '\0',
                                   std::string("2024-01-02T03:04:05Z"), std::string("2016-12-31 23:59:60 Z")})
    EXPECT_EQ(fromIsoText(wrong), std::nullopt) << wrong;
}

TEST(Hashing, TextsHave44Characters) {
  const std::string none(44, '-');
  const struct {
    std::string_view text;
    std::string_view hash;
    Sha256Text form{};
  } rows[] = {
      {"", "47DEQpj8HBSa+/TImW+5JCeuQeRkm5NMpJWZG3hSuFU="},
      {"", "47DEQpj8HBSa-_TImW-5JCeuQeRkm5NMpJWZG3hSuFU,", {.secure = true}},
      {{"a\0b", 3}, "WbJxrhu8sdMdQZKYF/Sxb7Q5608xUgta0dXOmJIKcTg="},
      {"Gr\u00FCn", "mVIj31TGe2M9kghF9cgjVuDJ5yoskbOPry6A9aX/XaU="},
      {"Gr\xFCn", none},
      {"\xED\xA0\x80", none, {.secure = true}},
  };
  for (const auto& [text, hash, form] : rows) EXPECT_EQ(sha256base64(text, form), hash);
}

}  // namespace
}  // namespace quelto::util
