#include "shared/request/AnswerParts.h"

#include <gtest/gtest.h>

#include <cmath>
#include <string>

#include "shared/base/Exceptions.h"
#include "shared/text/Utf8.h"

using namespace vorn;

namespace {

constexpr std::size_t kPrefix = 4;

/** So many bytes of a character, all of them whole. */
std::string repeated(const std::string& character, std::size_t bytes) {
  std::string text;
  while (text.size() + character.size() <= bytes) text += character;
  return text;
}

jsonxx::Object parsed(const std::string& text) {
  jsonxx::Object object;
  EXPECT_TRUE(object.parse(text)) << text.substr(0, 80);
  return object;
}

TEST(AnswerPartsTest, PiecesFillTheirFramesAndMakeTheAnswerAgain) {
  for (const std::string character : {"x", "/", "\"", "\xC3\xA9", "\xE2\x82\xAC", "\xF0\x9F\x99\x82",
                                      "a\xF0\x9F\x99\x82\"b\xC3\xA9/", "\n"}) {
    const std::string text = repeated(character, 70000);
    for (std::size_t limit : {4096u, 4097u, 4098u, 4099u, 5000u, 35000u, 69000u}) {
      AnswerParts parts;
      std::string frame = parts.fit(text, limit, limit == 5000 ? "error" : "ok");
      const std::size_t count = static_cast<std::size_t>(parsed(frame).get<jsonxx::Number>("parts"));
      std::string together;
      for (std::size_t number = 1; number <= count; ++number) {
        jsonxx::Object response;
        parts.appendPart(number, response);
        EXPECT_EQ(response.get<jsonxx::String>("result"), limit == 5000 ? "error" : "ok");
        EXPECT_TRUE(number != 1 || response.json() == frame);
        frame = response.json();
        EXPECT_LE(frame.size() + kPrefix, limit);
        EXPECT_TRUE(number == count || frame.size() + 64 > limit) << "room is left: " << frame.size();
        const auto& piece = response.get<jsonxx::String>("text");
        EXPECT_TRUE(vorn::isValidUtf8(piece));
        together += piece;
      }
      EXPECT_EQ(together, text);
    }
  }
}

TEST(AnswerPartsTest, HandsOutOnlyWhatIsKept) {
  AnswerParts parts;
  jsonxx::Object response;
  const std::string text(9000, 'x');
  EXPECT_EQ(parts.fit(text, 9000 + kPrefix, "ok"), text);
  EXPECT_THROW(parts.appendPart(1, response), InvalidArgumentException) << "it was sent whole";
  const std::string first = parts.fit(text, 9000 + kPrefix - 1, "ok");
  for (const long double number : {0.0L, -1.0L, 1.5L, 3.0L, 1e300L, std::nanl(""), HUGE_VALL})
    EXPECT_THROW(parts.appendPart(number, response), InvalidArgumentException) << number;
  EXPECT_EQ(parts.fit(first, 9010, "ok"), first) << "a part is an answer like any other";
  EXPECT_THROW(parts.fit(first, 4096, "ok"), InvalidArgumentException) << "but is not cut again";
  parts.appendPart(2, response);
  parts.drop();
  EXPECT_THROW(parts.appendPart(1, response), InvalidArgumentException);
}

}  // namespace
