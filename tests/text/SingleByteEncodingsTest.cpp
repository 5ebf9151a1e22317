#include "shared/text/SingleByteEncodings.h"

#include <gtest/gtest.h>
#include <iconv.h>

#include <string>

using namespace vorn;

namespace {

/** The byte in UTF-8 as the C library has it; none where it is no character. */
std::optional<std::string> converted(const std::string& encoding, char byte) {
  const iconv_t converter = iconv_open("UTF-8", encoding.c_str());
  char out[8];
  char *from = &byte, *to = out;
  std::size_t fromLeft = 1, toLeft = sizeof out;
  const bool isCharacter = iconv(converter, &from, &fromLeft, &to, &toLeft) != static_cast<std::size_t>(-1) &&
                           iconv(converter, nullptr, nullptr, &to, &toLeft) != static_cast<std::size_t>(-1);
  iconv_close(converter);
  return isCharacter ? std::optional(std::string(out, to)) : std::nullopt;
}

TEST(SingleByteEncodings, AreThoseOfTheCLibrary) {
  std::vector<std::string> names;
  for (int i = 1; i <= 16; ++i) names.push_back("ISO-8859-" + std::to_string(i));
  for (int i = 1250; i <= 1258; ++i) names.push_back("Windows-" + std::to_string(i));
  names.erase(names.begin() + 11);
  for (const std::string& name : names) {
    const SingleByteEncoding* const encoding = singleByteEncodingNamed(name);
    ASSERT_NE(encoding, nullptr) << name;
    for (int byte = 0; byte < 256; ++byte) {
      const std::string text(1, static_cast<char>(byte));
      EXPECT_EQ(utf8FromSingleBytes(text, *encoding), converted(name, text[0])) << name << " " << byte;
    }
  }
  for (const char* other : {"ISO-8859-12", "ISO-8859-17", "ISO-8859", "windows-1259", ""})
    EXPECT_EQ(singleByteEncodingNamed(other), nullptr) << other;
}

}  // namespace
