#include <string>

#include "corefoundation/LayerTest.h"

namespace {

using namespace std::string_literals;
using namespace vorn::frameworks;

using StringTest = LayerTest;

constexpr CFStringEncoding kUtf8 = kCFStringEncodingUTF8, kUtf16 = kCFStringEncodingUTF16,
                           kLatin1 = kCFStringEncodingISOLatin1, kAscii = kCFStringEncodingASCII;

TEST_F(StringTest, DecodesOrRefusesBytes) {
  enum : bool { kInside = false, kExternal = true };
  const std::u16string null = u"<null>";
  const struct {
    std::string bytes;
    CFStringEncoding encoding;
    bool isExternal;
    std::u16string units;
  } kCases[] = {
      {"", kUtf8, kInside, u""},
      {"a\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80", kUtf8, kInside, u"a\u00E9\u20AC\U0001F600"},
      {"a\0b"s, kUtf8, kInside, u"a\0b"s},
      {"\xEF\xBB\xBFx", kUtf8, kInside, u"\uFEFFx"},
      {"\xEF\xBB\xBFx", kUtf8, kExternal, u"x"},
      {"\xF4\x8F\xBF\xBF", kUtf8, kInside, u"\U0010FFFF"},
      {"\xF4\x90\x80\x80", kUtf8, kInside, null},  // above U+10FFFF
      {"\xC0\xAF", kUtf8, kInside, null},          // longer than needed
      {"\xE0\x80\xAF", kUtf8, kInside, null},
      {"\xED\xA0\x80", kUtf8, kInside, null},  // a surrogate
      {"a\x80", kUtf8, kInside, null},
      {"a\xE2\x82", kUtf8, kInside, null},
      {"\xFFz", kUtf8, kInside, null},
      {"K\xFC", kAscii, kInside, u"K\u00FC"},
      {"K\xFC", kLatin1, kInside, u"K\u00FC"},
      {"\x20\xAC\0z"s, kUtf16, kExternal, u"\u20ACz"},
      {"\xFE\xFF\x20\xAC", kUtf16, kExternal, u"\u20AC"},
      {"\xFF\xFE\xAC\x20", kUtf16, kExternal, u"\u20AC"},
      {"\xD8\x3D", kUtf16, kExternal, u"\xD83D"},
      {"\x20\xAC\x20", kUtf16, kExternal, null},
      {"a", 0x0C000100, kInside, null},
  };
  for (const auto& row : kCases) {
    SCOPED_TRACE(testing::PrintToString(row.bytes));
    const auto string =
        own(CFStringCreateWithBytes(nullptr, reinterpret_cast<const UInt8*>(row.bytes.data()),
                                    static_cast<CFIndex>(row.bytes.size()), row.encoding, row.isExternal));
    EXPECT_EQ(string ? utf16Of(string.get()) : null, row.units);
    EXPECT_EQ(CFStringGetLength(string.get()), string ? static_cast<CFIndex>(row.units.size()) : 0);
  }
  const char16_t inMemory[] = u"\u20AC";
  const auto native =
      own(CFStringCreateWithBytes(nullptr, reinterpret_cast<const UInt8*>(inMemory), 2, kUtf16, false));
  EXPECT_EQ(utf16Of(native.get()), inMemory);
  EXPECT_EQ(CFStringCreateWithCString(nullptr, "\x20\xAC", kUtf16), nullptr);
  EXPECT_EQ(CFStringCreateWithBytes(nullptr, nullptr, 1, kUtf8, false), nullptr);
  EXPECT_EQ(CFStringCreateWithCString(nullptr, nullptr, kUtf8), nullptr);
  EXPECT_EQ(makeString("\xFF"), nullptr);
}

TEST_F(StringTest, EncodesIntoABufferInWholeCharacters) {
  const struct {
    std::u16string units;
    CFIndex bufferSize;
    CFStringEncoding encoding;
    bool fits;
    std::string written;
  } kCases[] = {
      {u"abc", 4, kUtf8, true, "abc"},     {u"abc", 3, kUtf8, false, "ab"},
      {u"", 1, kUtf8, true, ""},           {u"a\u20AC", 5, kUtf8, true, "a\xE2\x82\xAC"},
      {u"a\u20AC", 4, kUtf8, false, "a"},  {u"\U0001F600", 5, kUtf8, true, "\xF0\x9F\x98\x80"},
      {u"a\xD83D", 9, kUtf8, false, "a"},  {u"a\u00FC\u20AC", 9, kLatin1, false, "a\xFC"},
      {u"a\u00FC", 9, kAscii, false, "a"}, {u"a", 9, kUtf16, false, ""},
  };
  for (const auto& row : kCases) {
    SCOPED_TRACE(row.written);
    const auto string = makeStringUtf16(row.units);
    char buffer[10] = "?????????";
    EXPECT_EQ(CFStringGetCString(asRef<CFStringRef>(string.get()), buffer, row.bufferSize, row.encoding),
              row.fits);
    EXPECT_EQ(std::string(buffer), row.written);
    EXPECT_EQ(buffer[row.bufferSize], row.bufferSize < 9 ? '?' : '\0');
  }
  char untouched[] = "?";
  EXPECT_FALSE(CFStringGetCString(CFSTR("a"), untouched, 0, kUtf8));
  EXPECT_STREQ(untouched, "?");
  EXPECT_FALSE(CFStringGetCString(reinterpret_cast<CFStringRef>(kCFBooleanTrue), untouched, 2, kUtf8));
}

TEST_F(StringTest, LendsItsBytesOnlyWhenAllAscii) {
  const auto plain = text("plain");
  const auto accented = text("acc\xC3\xA9nt");
  EXPECT_STREQ(CFStringGetCStringPtr(plain.get(), kUtf8), "plain");
  EXPECT_STREQ(CFStringGetCStringPtr(plain.get(), kLatin1), "plain");
  EXPECT_EQ(CFStringGetCStringPtr(plain.get(), kUtf16), nullptr);
  EXPECT_EQ(CFStringGetCStringPtr(accented.get(), kUtf8), nullptr);
  EXPECT_EQ(CFStringGetCStringPtr(nullptr, kUtf8), nullptr);
}

TEST_F(StringTest, BoundsTheSizeOfAnEncoding) {
  EXPECT_EQ(CFStringGetMaximumSizeForEncoding(5, kUtf8), 15);
  EXPECT_EQ(CFStringGetMaximumSizeForEncoding(5, kUtf16), 10);
  EXPECT_EQ(CFStringGetMaximumSizeForEncoding(5, kAscii), 5);
  EXPECT_EQ(CFStringGetMaximumSizeForEncoding(INT64_MAX / 2, kUtf8), kCFNotFound);
}

TEST_F(StringTest, ComparesCodeUnits) {
  const struct {
    std::string first;
    std::string second;
    CFComparisonResult exact;
    CFComparisonResult ignoringCase;
  } kCases[] = {
      {"data", "data", kCFCompareEqualTo, kCFCompareEqualTo},
      {"data", "DaTa", kCFCompareGreaterThan, kCFCompareEqualTo},
      {"data", "data2", kCFCompareLessThan, kCFCompareLessThan},
      {"[", "a", kCFCompareLessThan, kCFCompareLessThan},
      {"e\xCC\x81", "\xC3\xA9", kCFCompareLessThan, kCFCompareLessThan},  // no normalisation
      {"\xEF\xBF\xBD", "\xF0\x9F\x98\x80", kCFCompareGreaterThan, kCFCompareGreaterThan},
  };
  for (const auto& row : kCases) {
    SCOPED_TRACE(row.first + " / " + row.second);
    const auto first = text(row.first);
    const auto second = text(row.second);
    EXPECT_EQ(CFStringCompare(first.get(), second.get(), 0), row.exact);
    EXPECT_EQ(CFStringCompare(second.get(), first.get(), 0), -row.exact);
    EXPECT_EQ(CFStringCompare(first.get(), second.get(), kCFCompareCaseInsensitive), row.ignoringCase);
    EXPECT_EQ(CFEqual(first.get(), second.get()), row.exact == kCFCompareEqualTo);
  }
  EXPECT_EQ(CFStringCompare(nullptr, CFSTR(""), 0), kCFCompareLessThan);
}

TEST_F(StringTest, ConstantsOutliveEveryRelease) {
  CFStringRef constant = CFSTR("constant");
  for (int i = 0; i < 3; ++i) {
    CFRelease(constant);  // NOLINT: more often than retained, on purpose
  }
  EXPECT_TRUE(CFEqual(constant, text("constant").get()));
  EXPECT_EQ(CFSTR("constant"), constant);
  EXPECT_EQ(utf8Of(CFSTR("couldn\u2019t")), "couldn\xE2\x80\x99t");
}

}  // namespace
