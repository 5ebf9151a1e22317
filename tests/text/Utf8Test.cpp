#include "shared/text/Utf8.h"

#include <gtest/gtest.h>

#include "shared/text/LetterCase.h"

using namespace vorn;

namespace vorn {
namespace {

TEST(Utf8, ReplacesEachMaximalSubpart) {
  const std::pair<std::string, std::string> cases[] = {
      // "?" stands for U+FFFD, "=" for the text itself
      {std::string("a\0b", 3), std::string("a\0b", 3)},
      {"\xC2\x80\xDF\xBF\xE0\xA0\x80\xED\x9F\xBF\xEE\x80\x80\xEF\xBF\xBF\xF0\x90\x80\x80\xF4\x8F\xBF\xBF",
       "="},
      {"\xE1\x80\x80\xEC\xBF\xBF\xF1\x80\x80\x80\xF3\xBF\xBF\xBF", "="},
      {"\x80", "?"},
      {"a\xFFz", "a?z"},
      {"\xC0\xAF\xC1\xBF", "????"},  // overlong
      {"\xE0\x9F\x80", "???"},       // overlong
      {"\xED\xA0\x80", "???"},       // surrogate
      {"\xF0\x80\x80\xAF", "????"},  // overlong
      {"\xF4\x90\x80\x80", "????"},  // above U+10FFFF
      {"\xE2\x82", "?"},             // cut off at the end
      {"\xE2\x82(\xC3(\xF0\x9F\x98\x41", "?(?(?A"},
      {"\xE1\x80\xE2\xF0\x91\x92\xF1\xBF\x41", "????A"},
      {"1234567\xE2\x82\xAC 12345678\xE2\x82\xAC", "="},
      {"12345678ijklmno\xE2zzzzzzzz", "12345678ijklmno?zzzzzzzz"},
  };
  for (const auto& [text, shape] : cases) {
    std::string expected = shape == "=" ? text : shape;
    for (std::size_t at = 0; (at = expected.find('?', at)) != std::string::npos; at += 3)
      expected.replace(at, 1, "\xEF\xBF\xBD");
    EXPECT_EQ(replaceInvalidUtf8(text), expected) << testing::PrintToString(text);
    EXPECT_EQ(isValidUtf8(text), text == expected) << testing::PrintToString(text);
    EXPECT_TRUE(isValidUtf8(expected));
  }
}

TEST(Utf8, ComesFromOtherForms) {
  const std::pair<std::u16string, std::optional<std::string>> kTexts[] = {
      {u"", ""},
      {u"a\u00E9\u20AC\U0001F600", "a\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80"},
      {u"\uFFFF\U00010000\U0010FFFF", "\xEF\xBF\xBF\xF0\x90\x80\x80\xF4\x8F\xBF\xBF"},
      {u"a\xD83D", std::nullopt},
      {u"\xD83Dx", std::nullopt},
      {u"\xDE00\xD83D", std::nullopt},
  };
  for (const auto& [units, expected] : kTexts) {
    EXPECT_EQ(utf8FromUtf16(units), expected);
    EXPECT_EQ(utf16Length(expected.value_or("")), expected ? units.size() : 0) << expected.value_or("");
  }
  EXPECT_EQ(utf8FromLatin1("K\xFC\x80"), "K\xC3\xBC\xC2\x80");
}

TEST(Utf8, IsCutInWholeCharacters) {
  const std::string text = "a\xC3\xA9\xF0\x9F\x98\x80";
  const std::size_t kLengths[] = {0, 1, 1, 3, 3, 3, 3, 7, 7};
  for (std::size_t room = 0; room < std::size(kLengths); ++room)
    EXPECT_EQ(cutUtf8(text, room), text.substr(0, kLengths[room])) << room;
}

TEST(LetterCase, ChangesTheTwentySixLettersAlone) {
  EXPECT_EQ(asciiLowerCase(std::string("@AZ[`az{\xC3\x89")), "@az[`az{\xC3\x89");
}

}  // namespace
}  // namespace vorn
