#include <gtest/gtest.h>
#include <stdlib.h>

#include <cmath>
#include <iterator>
#include <limits>

#include "CoreFoundation/CFObjects.h"
#include "mac/app/CFRef.h"

namespace {

using namespace std::string_literals;
using namespace vorn::frameworks;
using vorn::CFRef;

/** Fails a test that leaves objects behind, or that releases one of others' too many. */
class ObjectsTest : public testing::Test {
 protected:
  void TearDown() override { EXPECT_EQ(Object::liveCount(), before_); }

 private:
  const std::size_t before_ = Object::liveCount();
};

template <class Ref>
CFRef<Ref> own(Ref object) {
  return CFRef<Ref>::adopt(object);
}

CFRef<CFStringRef> text(const std::string& utf8) {
  return own(CFStringCreateWithBytes(nullptr, reinterpret_cast<const UInt8*>(utf8.data()),
                                     static_cast<CFIndex>(utf8.size()), kCFStringEncodingUTF8, false));
}

TEST_F(ObjectsTest, DataIsACopyReadWithinBounds) {
  UInt8 bytes[] = {1, 2, 3, 4};
  const auto data = own(CFDataCreate(nullptr, bytes, 4));
  bytes[0] = 9;
  const struct {
    CFRange range;
    std::vector<UInt8> buffer;
  } kCases[] = {
      {CFRangeMake(1, 2), {2, 3, 0, 0}},         {CFRangeMake(0, 4), {1, 2, 3, 4}},
      {CFRangeMake(3, 2), {0, 0, 0, 0}},         {CFRangeMake(-1, 2), {0, 0, 0, 0}},
      {CFRangeMake(1, INT64_MAX), {0, 0, 0, 0}}, {CFRangeMake(5, -1), {0, 0, 0, 0}},
  };
  for (const auto& row : kCases) {
    std::vector<UInt8> buffer(4);
    CFDataGetBytes(data.get(), row.range, buffer.data());
    EXPECT_EQ(buffer, row.buffer) << row.range.location << "+" << row.range.length;
  }
  EXPECT_EQ(CFDataCreate(nullptr, bytes, -1), nullptr);
}

TEST_F(ObjectsTest, ArraysRetainAndBorrowedPairsDoNot) {
  auto element = text("element");
  const void* address = element.get();
  const void* values[] = {address, kCFBooleanTrue};
  const auto array = own(CFArrayCreate(nullptr, values, 2, &kCFTypeArrayCallBacks));
  const auto dictionary = own(CFDictionaryCreate(nullptr, values, values, 2, nullptr, nullptr));
  EXPECT_EQ(CFDictionaryGetValue(dictionary.get(), text("element").get()), nullptr) << "compared by address";
  EXPECT_EQ(CFDictionaryGetValue(dictionary.get(), address), address);
  const auto alive = Object::liveCount();
  element.reset();
  EXPECT_EQ(Object::liveCount(), alive) << "the array keeps it";
  EXPECT_EQ(CFArrayGetCount(array.get()), 2);
  EXPECT_EQ(CFArrayGetValueAtIndex(array.get(), 0), address);
  EXPECT_EQ(CFArrayGetValueAtIndex(array.get(), 2), nullptr);   // NOLINT: misused on purpose
  EXPECT_EQ(CFArrayGetValueAtIndex(array.get(), -1), nullptr);  // NOLINT
  EXPECT_EQ(CFArrayGetCount(reinterpret_cast<CFArrayRef>(kCFBooleanTrue)), 0);
}

TEST_F(ObjectsTest, NumbersTellWhetherTheyLose) {
  const struct {
    double number;
    int written;
    bool lossless;
  } kCases[] = {
      {-7.0, -7, true},
      {-1.5, -1, false},
      {2147483648.0, INT32_MAX, false},
      {-2147483649.0, INT32_MIN, false},
      {std::nan(""), 0, false},
      {std::numeric_limits<double>::infinity(), INT32_MAX, false},
  };
  for (const auto& row : kCases) {
    const auto number = own(CFNumberCreate(nullptr, kCFNumberDoubleType, &row.number));
    int written[2] = {77, 77};
    EXPECT_EQ(CFNumberGetValue(number.get(), kCFNumberIntType, written), row.lossless) << row.number;
    EXPECT_EQ(written[0], row.written) << row.number;
    EXPECT_EQ(written[1], 77) << "written beyond the type";
  }
  long same = 0;
  EXPECT_FALSE(CFNumberGetValue(reinterpret_cast<CFNumberRef>(CFSTR("1")), kCFNumberLongType, &same));
}

TEST_F(ObjectsTest, TextsGoIntoABufferInWholeCharacters) {
  const struct {
    std::string text;
    CFIndex bufferSize;
    bool fits;
    std::string written;
    CFIndex length;
  } kCases[] = {
      {"abc", 4, true, "abc", 3},
      {"abc", 3, false, "ab", 3},
      {"", 1, true, "", 0},
      {"a\xE2\x82\xAC", 5, true, "a\xE2\x82\xAC", 2},
      {"a\xE2\x82\xAC", 4, false, "a", 2},
      {"\xF0\x9F\x98\x80", 4, false, "", 2},
  };
  for (const auto& row : kCases) {
    const auto string = text(row.text);
    char buffer[10] = "?????????";
    EXPECT_EQ(CFStringGetCString(string.get(), buffer, row.bufferSize, kCFStringEncodingUTF8), row.fits);
    EXPECT_EQ(std::string(buffer), row.written);
    EXPECT_EQ(buffer[row.bufferSize], '?');
    EXPECT_EQ(CFStringGetLength(string.get()), row.length);
  }
  char untouched[] = "?";
  EXPECT_FALSE(CFStringGetCString(CFSTR("a"), untouched, 0, kCFStringEncodingUTF8));
  EXPECT_FALSE(text("\xFF"));
  EXPECT_EQ(CFStringGetLength(text("a\0b"s).get()), 3);
  EXPECT_STREQ(CFStringGetCStringPtr(text("plain").get(), kCFStringEncodingUTF8), "plain");
  EXPECT_EQ(CFStringGetCStringPtr(text("acc\xC3\xA9nt").get(), kCFStringEncodingUTF8), nullptr);
  EXPECT_EQ(CFStringGetMaximumSizeForEncoding(5, kCFStringEncodingUTF8), 15);
  EXPECT_EQ(CFStringGetMaximumSizeForEncoding(INT64_MAX / 2, kCFStringEncodingUTF8), kCFNotFound);
}

TEST_F(ObjectsTest, TextsAreComparedWithoutNormalisation) {
  const struct {
    std::string first;
    std::string second;
    CFComparisonResult exact;
    CFComparisonResult ignoringCase;
  } kCases[] = {
      {"data", "data", kCFCompareEqualTo, kCFCompareEqualTo},
      {"azAZ", "AZaz", kCFCompareGreaterThan, kCFCompareEqualTo},
      {"data", "data2", kCFCompareLessThan, kCFCompareLessThan},
      {"[", "{", kCFCompareLessThan, kCFCompareLessThan},
      {"e\xCC\x81", "\xC3\xA9", kCFCompareLessThan, kCFCompareLessThan},
  };
  for (const auto& row : kCases) {
    const auto first = text(row.first);
    const auto second = text(row.second);
    EXPECT_EQ(CFStringCompare(first.get(), second.get(), 0), row.exact) << row.first;
    EXPECT_EQ(CFStringCompare(second.get(), first.get(), 0), -row.exact) << row.first;
    EXPECT_EQ(CFStringCompare(first.get(), second.get(), kCFCompareCaseInsensitive), row.ignoringCase);
    EXPECT_EQ(CFEqual(first.get(), second.get()), row.exact == kCFCompareEqualTo);
  }
}

TEST_F(ObjectsTest, ConstantsOutliveEveryRelease) {
  CFStringRef constant = CFSTR("constant");
  for (int i = 0; i < 3; ++i) CFRelease(constant);  // NOLINT: more often than retained, on purpose
  EXPECT_TRUE(CFEqual(constant, text("constant").get()));
  EXPECT_EQ(CFSTR("constant"), constant);
}

std::string format(const std::string& pattern, double unixTime) {
  const auto formatter =
      own(CFDateFormatterCreate(nullptr, nullptr, kCFDateFormatterShortStyle, kCFDateFormatterShortStyle));
  CFDateFormatterSetFormat(formatter.get(), text(pattern).get());
  const auto formatted = own(CFDateFormatterCreateStringWithAbsoluteTime(
      nullptr, formatter.get(), unixTime - kCFAbsoluteTimeIntervalSince1970));
  return formatted ? std::string(utf8Of(formatted.get())) : "null";
}

TEST_F(ObjectsTest, DatesShowTheLocalClock) {
  using Limits = std::numeric_limits<double>;
  const std::string kIso = "yyyy-MM-dd'T'HH:mm:ss'.000Z'";
  const struct {
    const char* zone;
    double unixTime;
    std::string shown;
    std::string pattern;
  } kCases[] = {
      {"Australia/Sydney", 1893456000, "2030-01-01T11:00:00.000Z", kIso},  // summer time
      {"America/New_York", 1710054000 - 1, "2024-03-10T01:59:59.000Z", kIso},
      {"America/New_York", 1710054000, "2024-03-10T03:00:00.000Z", kIso},
      {"XYZ-5:30", 0, "1970-01-01T05:30:00.000Z", kIso},
      {"UTC", -1, "1969-12-31T23:59:59.000Z", kIso},
      {"UTC", 253402300799, "9999-12-31T23:59:59.000Z", kIso},
      {"XYZ-1", 253402300799, "10000-01-01T00:59:59.000Z", kIso},
      {"UTC", -62135769600 + 172800, "0001-01-01T00:00:00.000Z", kIso},
      // Parts of a second:
      {"UTC", 978307200.9994, "2001-01-01T00:00:00.000Z", kIso},
      {"UTC", 978307200.9996, "2001-01-01T00:00:01.000Z", kIso},
      {"UTC", -0.25, "1969-12-31T23:59:59.000Z", kIso},
      {"UTC", 0, "null", "yyyy MMM"},
      {"UTC", 0, "null", ""},
      {"UTC", Limits::quiet_NaN(), "null", kIso},
      {"UTC", -1e20, "null", kIso},
  };
  for (const auto& row : kCases) {
    setenv("TZ", row.zone, 1);
    EXPECT_EQ(format(row.pattern, row.unixTime), row.shown) << row.zone << " " << row.unixTime;
  }
}

TEST_F(ObjectsTest, HoldersGiveBackWhatTheyHeld) {
  auto holder = text("first");
  EXPECT_DEATH(holder.out(), "");
  holder = text("second");
  auto moved = std::move(holder);
  EXPECT_FALSE(holder);  // NOLINT(bugprone-use-after-move): empty by contract
  *holder.out() = CFRef<CFStringRef>::retain(moved.get()).release();
  EXPECT_EQ(holder.get(), moved.get());
  EXPECT_DEATH(CFRelease(nullptr), "");  // NOLINT: misused on purpose
}

}  // namespace
