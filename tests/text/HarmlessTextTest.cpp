#include "shared/text/HarmlessText.h"

#include <gtest/gtest.h>

#include <regex>
#include <set>
#include <string>

#include "Bytes.h"
#include "shared/text/Utf8.h"

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
      {"\u061c\u200a\u200b\u2069\u2070\U000e0041\u3165",
       "\\u061c\u200a\\u200b\\u2069\u2070\\U000e0041\u3165"},
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

/** Who reads a name in the log sees as much of it as who reads it in the sample extension. */
TEST(HarmlessText, GoesByTheListOfTheSampleExtension) {
  std::string script = tests::readFile(VORN_SOURCES "/examples/extension/review.js");
  script.erase(0, script.find("visible = "));
  script.erase(script.find("/gu,"));
  const std::regex range(R"(\\u\{?([0-9a-f]+)\}?(-\\u\{?([0-9a-f]+)\}?)?)");
  std::set<unsigned long> listed = {'\t', '\n'};  // which are no harm between the lines of a document
  for (std::sregex_iterator one(script.begin(), script.end(), range), end; one != end; ++one)
    for (auto code = std::stoul((*one)[1], nullptr, 16),
              last = (*one)[3].matched ? std::stoul((*one)[3], nullptr, 16) : code;
         code <= last; ++code)
      listed.insert(code);
  for (unsigned long code = 0; code <= 0x10FFFF; ++code) {
    if (code >= 0xD800 && code <= 0xDFFF) continue;
    char text[4];
    const char* const end = writeUtf8(text, static_cast<char32_t>(code));
    EXPECT_EQ(isHarmless(std::string_view(text, end)), !listed.contains(code)) << std::hex << code;
  }
}

}  // namespace
}  // namespace vorn
