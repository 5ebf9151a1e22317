#include "shared/text/HarmlessText.h"

#include <gtest/gtest.h>

#include <string>

namespace vorn {
namespace {

using namespace std::string_literals;

TEST(HarmlessText, WritesOutWhatCommandsATerminalOrEndsALine) {
  const struct {
    std::string given;
    std::string expected;
  } cases[] = {
      {"", ""},
      {"Zoë \\ \"日本\" \xf0\x9f\x98\x80 ~", "Zoë \\ \"日本\" \xf0\x9f\x98\x80 ~"},
      {"a\nb\r\tc\x1b[2J\x7f\0d"s, "a\\x0ab\\x0d\\x09c\\x1b[2J\\x7f\\x00d"},
      {"\u0080\u0085\u009b\u00a0", "\\u0080\\u0085\\u009b\u00a0"},
      {"\u2027\u2028\u2029\u202a\u202e\u202f", "\u2027\\u2028\\u2029\\u202a\\u202e\u202f"},
      {"\u061c\u200d\u200e\u200f\u2065\u2066\u2069\u206a",
       "\\u061c\u200d\\u200e\\u200f\u2065\\u2066\\u2069\u206a"},
      {"\x80 \xff \xc0\xaf \xe2\x80", "\\x80 \\xff \\xc0\\xaf \\xe2\\x80"},
      {"\xed\xa0\x80 \xf4\x90\x80\x80 \xe0\x9f\xbf", "\\xed\\xa0\\x80 \\xf4\\x90\\x80\\x80 \\xe0\\x9f\\xbf"},
      {"\xe2\x80\n", "\\xe2\\x80\\x0a"},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(harmlessText(c.given), c.expected);
    EXPECT_EQ(isHarmless(c.given), c.given == c.expected) << c.expected;
    EXPECT_TRUE(isHarmless(harmlessText(c.given)));
  }
}

}  // namespace
}  // namespace vorn
