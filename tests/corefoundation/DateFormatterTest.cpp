#include <stdlib.h>

#include <chrono>
#include <limits>
#include <string>

#include "corefoundation/LayerTest.h"

namespace {

constexpr const char* kIsoFormat = "yyyy-MM-dd'T'HH:mm:ss'.000Z'";
const std::string kNull = "<null>";

using DateFormatterTest = LayerTest;

std::string format(const std::string& pattern, CFAbsoluteTime time) {
  const auto formatter =
      own(CFDateFormatterCreate(nullptr, nullptr, kCFDateFormatterShortStyle, kCFDateFormatterShortStyle));
  CFDateFormatterSetFormat(formatter.get(), text(pattern).get());
  const auto formatted = own(CFDateFormatterCreateStringWithAbsoluteTime(nullptr, formatter.get(), time));
  return formatted ? vorn::frameworks::utf8Of(formatted.get()) : kNull;
}

TEST_F(DateFormatterTest, ShowsTheLocalClock) {
  const struct {
    const char* zone;
    double unixTime;
    const char* shown;
  } kCases[] = {
      {"Australia/Sydney", 1893456000, "2030-01-01T11:00:00.000Z"},  // summer time
      {"America/New_York", 1710054000 - 1, "2024-03-10T01:59:59.000Z"},
      {"America/New_York", 1710054000, "2024-03-10T03:00:00.000Z"},
      {"XYZ-5:30", 0, "1970-01-01T05:30:00.000Z"},
      {"UTC", -1, "1969-12-31T23:59:59.000Z"},
      {"UTC", 253402300799, "9999-12-31T23:59:59.000Z"},
      {"UTC", 253402300800, "10000-01-01T00:00:00.000Z"},
      {"UTC", -12219292800, "1582-10-15T00:00:00.000Z"},
      {"UTC", -12219292801, "1582-10-04T23:59:59.000Z"},  // the calendar's change
      {"XYZ-1", -12219292801, "1582-10-15T00:59:59.000Z"},
      {"UTC", -14825894400, "1500-02-29T00:00:00.000Z"},  // a leap day of the earlier calendar only
      {"UTC", -62135769600, "0001-01-01T00:00:00.000Z"},
      {"UTC", -62135769601, "0001-12-31T23:59:59.000Z"},  // of the year before the first
      // Parts of a second:
      {"UTC", 978307200.9994, "2001-01-01T00:00:00.000Z"},
      {"UTC", 978307200.9996, "2001-01-01T00:00:01.000Z"},
      {"UTC", -0.25, "1969-12-31T23:59:59.000Z"},
      {"UTC", -0.0004, "1970-01-01T00:00:00.000Z"},
  };
  for (const auto& row : kCases) {
    setenv("TZ", row.zone, 1);
    EXPECT_EQ(format(kIsoFormat, row.unixTime - kCFAbsoluteTimeIntervalSince1970), row.shown)
        << row.zone << " " << row.unixTime;
  }
}

TEST_F(DateFormatterTest, ReadsThePattern) {
  setenv("TZ", "UTC", 1);
  const struct {
    std::string pattern;
    std::string shown;
  } kCases[] = {
      {"yyyyMMddHHmmss", "20010101000000"},
      {"dd/MM/yyyy", "01/01/2001"},
      {"'o''clock' HH", "o'clock 00"},
      {"\xC3\xA9 mm '\xE2\x82\xAC", "\xC3\xA9 00 \xE2\x82\xAC"},
      {"yyyy MMM", kNull},
      {"Z", kNull},
      {"", kNull},
      {std::string(1024, '.'), std::string(1024, '.')},
      {std::string(1025, '.'), kNull},
  };
  for (const auto& row : kCases) {
    EXPECT_EQ(format(row.pattern, 0.0), row.shown) << row.pattern;
  }
}

TEST_F(DateFormatterTest, RefusesWhatItCannotShow) {
  using Limits = std::numeric_limits<double>;
  for (const double time : {Limits::infinity(), Limits::quiet_NaN(), Limits::max(), -1e20}) {
    EXPECT_EQ(format(kIsoFormat, time), kNull) << time;
  }
  const auto locale = reinterpret_cast<CFLocaleRef>(CFSTR("en"));
  EXPECT_EQ(CFDateFormatterCreate(nullptr, locale, kCFDateFormatterShortStyle, kCFDateFormatterShortStyle),
            nullptr);
  EXPECT_EQ(CFDateFormatterCreateStringWithAbsoluteTime(nullptr, nullptr, 0), nullptr);
}

TEST_F(DateFormatterTest, CountsFromTheYear2001) {
  const auto unixNow = std::chrono::system_clock::now().time_since_epoch();
  const double seconds = std::chrono::duration<double>(unixNow).count();
  EXPECT_NEAR(CFAbsoluteTimeGetCurrent() + 978307200.0, seconds, 2.0);
}

}  // namespace
