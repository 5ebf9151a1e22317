#include <gtest/gtest.h>

#include <sstream>

#include "shared/json/jsonxx.h"

namespace {

using namespace std::string_literals;
using jsonxx::Object;

/** The outcome in one line: "+" or "-" for complete or not, then the rendering without its whitespace. */
std::string read(const std::string& text) {
  Object object;
  std::string line = object.parse(text) ? "+" : "-";
  for (const char c : object.json())
    if (c != '\n' && c != '\t' && c != ' ') line += c;
  return line;
}

TEST(JsonReader, ReadsOddTexts) {
  // Odd: empty slots; containers that fail, after which reading goes on where they broke; comments,
  // also inside a word; numbers next to what follows; strings, in which \u takes four characters as
  // a decimal byte.
  const std::pair<std::string, std::string> cases[] = {
      {"{}garbage", "+{}"},
      {"", "-{}"},
      {"[1]", "-{}"},
      {"\xEF\xBB\xBF{}", "-{}"},
      {"  // note\n{'a' : 'x' , \"b\":[1,2,],}", R"(+{"a":"x","b":[1,2]})"},
      {R"({"a":1,"a":})", R"(+{"a":1})"},
      {R"({a:1})", "-{}"},
      {R"({"a":1,,"b":2})", R"(-{"a":1})"},
      {R"({"a":{"x":1},"b":{"y":2)", R"(-{"a":{"x":1}})"},
      {R"({"a":1,"b":})", R"(+{"a":1})"},
      {R"({"a":1,"b":tru})", R"(-{"a":1})"},
      {R"({"a":,"b":1})", R"(+{"a":null,"b":1})"},
      {R"({"a":[1,,3]})", R"(+{"a":[1,null,3]})"},
      {R"({"a":[,,]})", R"(+{"a":[null,null]})"},
      {"{,}", "-{}"},
      {R"({"a":[1 {"b":2}})", R"(+{"a":{"b":2}})"},
      {R"({"a":[{"b":1,"c"],"d":2})", R"(+{"a":[],"d":2})"},
      {R"({"a":[1 2]})", "-{}"},
      {R"({"a":[1e5000]})", "-{}"},
      {R"({"k":3,"a":[1 {"b":[2 {"c":4},"d":5})", R"(-{"a":{"b":{"c":4},"d":5},"k":3})"},
      {"{\"a\"//x\r: tr//y\n //z\nue//", R"(-{"a":true})"},
      {"{\"a\":nul//\n,}", "-{}"},
      {"{\"a\":1/ /\n}", R"(-{"a":1})"},
      {"{\"a\":/*x*/1}", "-{}"},
      {"{\"a\"://\"\n//'\n 'b'}", R"(+{"a":"b"})"},
      {"\v\f{\t\r\n}", "+{}"},
      {"\0{}"s, "-{}"},
      {R"({"a":+5,"b":00012,"c":.5,"d":5.,"e":-0})", R"(+{"a":5,"b":12,"c":0.5,"d":5,"e":-0})"},
      {R"({"a":1.5.3})", R"(-{"a":1.5})"},
      {R"({"s":'a"b\'c\"d'})", R"(+{"s":"a\"b'c\\\"d"})"},
      {R"({"s":"a\qb\'\"\/\\\n\r\t\f\b"})", R"(+{"s":"a\\qb\\'\"\/\\\n\r\t\f\b"})"},
      {"{\"s\":\"\x01\x7f\xff\n\"}", "+{\"s\":\"\\u0001\x7f\xff\\n\"}"},
      {"{\"s\0\":\"\0\"}"s, R"(+{"s\u0000":"\u0000"})"},
      {R"({"s":"x\)", "-{}"},
      {R"({"s":"\u0041\u0065"})", R"(+{"s":")A"})"},
      {R"({"s":"<\uabcd>"})", R"(+{"s":"<>"})"},
      {R"({"s":"\u12"})", "-{}"},
      {R"({"s":"\u12"}"})", R"(+{"s":"\f"})"},
      {R"({"s":"\u65" "})", R"(+{"s":"A"})"},
  };
  for (const auto& [text, expected] : cases) EXPECT_EQ(read(text), expected) << text;
}

TEST(JsonReader, ReadsByteEscapesAsAStreamReadsIntegers) {
  const std::string alphabet = " +-0279x\t";
  for (std::size_t n = 0; n < std::size_t{9} * 9 * 9 * 9; ++n) {
    const std::string four = {alphabet[n % 9], alphabet[n / 9 % 9], alphabet[n / 81 % 9], alphabet[n / 729]};
    std::istringstream in(four);
    int integer = 0;
    const std::string expected = in >> integer ? std::string(1, static_cast<char>(integer & 255)) : "";
    Object object;
    ASSERT_TRUE(object.parse("{'s':'\\u" + four + "'}")) << four;
    ASSERT_EQ(object.get<jsonxx::String>("s"), expected) << four;
  }
}

TEST(JsonReader, ReplacesWhatWasThere) {
  Object object("old", 1);
  object << "pending";
  EXPECT_TRUE(object.parse("{}"));
  object << 5;
  EXPECT_EQ(object.json(), Object("pending", 5).json());
  // The text may be the object's own.
  Object own("text", "{\"x\":\"" + std::string(100, 'y') + "\"}");
  EXPECT_TRUE(own.parse(own.get<jsonxx::String>("text")));
  EXPECT_EQ(own.get<jsonxx::String>("x"), std::string(100, 'y'));
}

TEST(JsonReader, NeverRecurses) {
#if defined(__SANITIZE_ADDRESS__)
  constexpr std::size_t kArrays = 400'000, kObjects = 40'000;  // a frame is several times as large there
#else
  constexpr std::size_t kArrays = 2'000'000, kObjects = 200'000;
#endif
  std::string objects;
  for (std::size_t i = 0; i < kObjects; ++i) objects += "{'a':";
  const std::string arrays = "{'a':" + std::string(kArrays, '[');
  Object object;
  ASSERT_TRUE(object.parse(arrays + std::string(kArrays, ']') + "}"));
  EXPECT_EQ(Object(object).size(), 1U);
  // The array fails, its objects close.
  ASSERT_TRUE(object.parse(objects + "[" + std::string(kObjects, '}')));
  EXPECT_FALSE(object.parse(arrays));
  EXPECT_TRUE(object.empty());
  EXPECT_FALSE(object.parse(arrays + "{" + objects));
}

}  // namespace
