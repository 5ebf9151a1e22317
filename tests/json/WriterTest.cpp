#include <gtest/gtest.h>

#include "shared/json/jsonxx.h"

namespace {

using namespace jsonxx;

TEST(JsonWriter, WritesTheExactLayoutOfEachKind) {
  Value resetText("gone");
  resetText.reset();
  Object nested("count", 3);
  nested << "list" << (Array(Value("a")) << true) << "sub" << Object() << "type" << Value("version");
  const std::pair<Object, const char*> cases[] = {
      {Object(), "{\n} \n"},
      {nested,
       "{\n\t\"count\": 3,\n\t\"list\": [\n\t\t\"a\",\n\t\ttrue \n\t],\n\t\"sub\": {\n\t},\n"
       "\t\"type\": \"version\" \n} \n"},
      {Object("k", false), "{\n\t\"k\": false \n} \n"},
      {Object("k", Null()), "{\n\t\"k\": null \n} \n"},
      {Object("k", Value()), "{\n\t\"k\": null \n} \n"},
      {Object("k", resetText), "{\n\t\"k\": \"\" \n} \n"},
      {Object("k", Array()), "{\n\t\"k\": [\n\t] \n} \n"},
      {Object("", 1), "{\n\t1 \n} \n"},
      {Object("", Object("", Object())), "{\n\t{\n\t\t{\n\t\t} \n\t} \n} \n"},
      {Object("a/\"\n,", ","), "{\n\t\"a\\/\\\"\\n,\": \",\" \n} \n"},
  };
  for (const auto& [object, expected] : cases) EXPECT_EQ(object.json(), expected);
}

TEST(JsonWriter, EscapesEveryByte) {
  std::string all;
  for (int byte = 0; byte < 256; ++byte) all += static_cast<char>(byte);
  std::string expected =
      "\\u0000\\u0001\\u0002\\u0003\\u0004\\u0005\\u0006\\u0007\\b\\t\\n\\u000b\\f\\r\\u000e\\u000f"
      "\\u0010\\u0011\\u0012\\u0013\\u0014\\u0015\\u0016\\u0017\\u0018\\u0019\\u001a\\u001b\\u001c\\u001d\\u0"
      "01e\\u001f"
      " !\\\"#$%&'()*+,-.\\/0123456789:;<=>?@ABCDEFGHIJKLMNOPQRSTUVWXYZ[\\\\]^_`";
  expected += all.substr('a');
  EXPECT_EQ(Object(all, all).json(), "{\n\t\"" + expected + "\": \"" + expected + "\" \n} \n");
}

}  // namespace
