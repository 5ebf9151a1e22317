#include "reliability/HostileBodies.h"

namespace reliability {
namespace {

Hostile nested(const char* name, const std::string& open, const std::string& inmost,
               const std::string& close) {
  return {name, [=](std::size_t size) {
            const std::size_t depth = size / (open.size() + close.size());
            return fill(open, depth * open.size()) + inmost + fill(close, depth * close.size());
          }};
}

}  // namespace

std::string harmlessJson(std::size_t size) {
  return "[" + fill(R"({"id": 12, "name": "Jane Citizen", "tags": ["a", "b"], "valid": true},)", size) + "1]";
}

std::vector<Hostile> hostileJson() {
  const auto descending = [](std::size_t i) { return "\"" + number(99999999 - i) + "\":1,"; };
  return {
      nested("arrays in arrays", "[", "1", "]"),
      nested("objects in objects", "{\"a\":", "1", "}"),
      nested("arrays that break off into objects", "[1 {\"a\":", "1", "}"),
      nested("arrays that never end", "[", "", ""),
      numbered(
          "many keys", "{", [](std::size_t i) { return "\"" + number(i) + "\":1,"; }, "}"),
      numbered("many keys, last first", "{", descending, "}"),
      numbered(
          "keys alike for long", "{",
          [](std::size_t i) { return "\"" + std::string(200, 'k') + number(i * 7919 % 100003) + "\":1,"; },
          "}"),
      between("one key again and again", "{", "\"a\":[1],", "}"),
      between("empty slots", "[", ",", "]"),
      between("empty objects", "[", "{},", "]"),
      between("exponents", "[", "-1.5e-4000,", "]"),
      between("a long number", "", "9", ""),
      between("a number of zeros", "0.", "0", "1"),
      between("numbers that overflow", "[", "1e9999,", "]"),
      between("byte escapes", "\"", "\\u0065", "\""),
      between("odd byte escapes", "\"", "\\u+-1x\\u", "\""),
      between("the other quotes", "\"", "'", "\""),
      between("comments", "", "//\n", "1"),
      between("comments within words", "[t", "//\n", "rue]"),
      between("comments before each value", "[", "//\n1,", "]"),
      between("slashes", "", "/", ""),
      between("white space", "", " \t\n\v\f\r", "1"),
      between("a text that never ends", "\"", "\\\"'", ""),
      between("bytes that no text has", "\"", "\xff", "\""),
      between("characters that are written longer", "\"", "\x01", "\""),
  };
}

}  // namespace reliability
