#include "shared/base/Base64.h"

#include <gtest/gtest.h>

using namespace vorn;

namespace {

std::string decode(const std::string& text) {
  unsigned char* data = nullptr;
  long length = 0;
  decodeBase64(text.c_str(), &data, &length);
  std::unique_ptr<unsigned char, vorn::FreeBuffer> owner(data);
  if (length < 0) return "negative";
  EXPECT_EQ(data[length], 0);
  return {reinterpret_cast<const char*>(data), static_cast<std::size_t>(length)};
}

TEST(Base64, KnownTexts) {
  const std::pair<std::string, std::string> cases[] = {
      {"f", "Zg=="},          {"fo", "Zm8="},           {"foo", "Zm9v"},
      {"foobar", "Zm9vYmFy"}, {"\xfb\xff\xfe", "+//+"}, {std::string(3, 0), "AAAA"}};
  for (const auto& [bytes, text] : cases) {
    EXPECT_EQ(toBase64(bytes), text);
    EXPECT_EQ(decode(text), bytes) << text;
  }
  EXPECT_EQ(toBase64(""), "");
  for (const char* space : {"\n", "\r\n", " ", "\t \n\n"}) {
    for (const std::string text : {"Zm9v", "Zm8="}) {
      EXPECT_EQ(decode(text + space), decode(text));
      EXPECT_EQ(fromBase64(text + space)->view(), decode(text));
    }
  }
}

TEST(Base64, LongTextsComeBackWithoutLineBreaks) {
  for (std::size_t size : {767u, 768u, 1023u, 1024u, 1025u, 7000001u}) {
    std::string bytes(size, 0);
    for (std::size_t i = 0; i < size; ++i) bytes[i] = static_cast<char>(i * 31 >> 3);
    const std::string text = toBase64(bytes);
    EXPECT_EQ(text.size(), (size + 2) / 3 * 4);
    EXPECT_TRUE(isBase64(text.data(), text.size()));
    EXPECT_TRUE(decode(text) == bytes) << size;
  }
}

TEST(Base64, WhatIsNotBase64) {
  using namespace std::string_literals;
  for (const auto& text : {""s,        "A"s,     "AA"s,   "AAA"s,      "AAAAA"s, "="s,     "===="s,
                           "A==="s,    "AA=A"s,  "=AAA"s, "AA==AAAA"s, "\n"s,    "AAA\n"s, "AAAA\v"s,
                           "AAAA\nA"s, " AAAA"s, "AA A"s, "AAA\0"s,    "AA-A"s,  "AA_A"s,  "AA\xc3\xa9"s}) {
    EXPECT_FALSE(isBase64(text.data(), text.size())) << text;
    EXPECT_FALSE(fromBase64(text)) << text;
    decode(text);  // in bounds all the same
  }
  for (const auto& text : {"AAAA"s, "AAA="s, "AA=="s, "+/+/"s})
    EXPECT_TRUE(isBase64(text.data(), text.size()));
}

}  // namespace
