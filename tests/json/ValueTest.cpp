#include <gtest/gtest.h>

#include <cstring>

#include "shared/json/jsonxx.h"

namespace {

using namespace jsonxx;

TEST(JsonValue, TakesItsKindFromWhatItIsMadeOf) {
  const String text = "s";
  const std::pair<Value, int> cases[] = {
      // clang-format off
      {1, 0}, {'a', 0}, {2U, 0}, {3LL, 0}, {0.5F, 0}, {0.1L, 0}, {0, 0}, {text, 1}, {"s", 1}, {text + text, 1},
      {std::string_view("s"), 1}, {true, 2}, {Null(), 3}, {Array(), 4}, {Object(), 5}, {Value(), 6},
      // clang-format on
  };
  for (const auto& [value, kind] : cases) {
    EXPECT_EQ(static_cast<int>(value.kind()), kind);
    const Value copy = value;
    Value moved = copy;
    const Value target = std::move(moved);
    const bool kinds[] = {target.is<Number>(), target.is<String>(), target.is<Boolean>(),
                          target.is<Null>(),   target.is<Array>(),  target.is<Object>()};
    for (int k = 0; k < 6; ++k) EXPECT_EQ(kinds[k], k == kind);
  }
  EXPECT_EQ(Value('a').get<Number>(), 97);
  EXPECT_EQ(Value(UINT64_MAX).get<Number>(), 18446744073709551615.0L);
}

TEST(JsonValue, ImportReplacesAndResetKeepsTheKind) {
  Value value("text");
  value.import(value);
  EXPECT_EQ(value.get<String>(), "text");
  value.reset();
  EXPECT_TRUE(value.is<String>());
  EXPECT_EQ(value.get<String>(), "");
  value.import(Array(Value("inner")));
  const Value copy = value;
  value.import(value.get<Array>().get<String>(0));  // owned by what it replaces
  EXPECT_EQ(value.get<String>(), "inner");
  EXPECT_EQ(copy.get<Array>().size(), 1U);
  value = Array(Value(Array(Value(7))));
  value = std::move(*value.get<Array>().elements()[0]);
  EXPECT_EQ(value.get<Array>().get<Number>(0), 7);
}

TEST(JsonObject, PairsKeysAndValues) {
  Object object;
  object << "a" << 1 << "a" << 2;
  EXPECT_EQ(object.size(), 1U);
  EXPECT_EQ(object.get<Number>("a"), 2);
  object << ""
         << "key"
         << "value";  // the empty string is no key
  EXPECT_EQ(object.get<String>("key"), "value");
  object << Object("x", 1);  // none pending: the empty key
  EXPECT_TRUE(object.has<Object>(""));
  object << "v" << Value(Object("x", 2));
  EXPECT_EQ(object.get<Object>("v").get<Number>("x"), 2);

  // A pending key is dropped by import and assignment, stays over reset, and is not copied.
  object << "pending";
  Object copy = object;
  copy << "k" << 1;
  EXPECT_TRUE(copy.has<Number>("k"));
  object.reset();
  EXPECT_TRUE(object.empty());
  object << 1 << "dropped";
  EXPECT_TRUE(object.has<Number>("pending"));
  object.import("i", 1);
  object << "k" << 2 << "dropped";
  EXPECT_EQ(object.get<Number>("k"), 2);
  object.import(Object());
  object << "k" << 3 << "dropped";
  object = Object("m", 1);
  object << "k" << 4;
  EXPECT_EQ(object.size(), 2U);
  object << "dropped";
  object = *&object;
  object << "k" << 5;
  EXPECT_EQ(object.get<Number>("k"), 5);
}

TEST(JsonObject, OrdersKeysByTheirBytes) {
  Object object;
  for (const char* key : {"b", "a", "B", "ab", "\xC3\xA9", "a\x01"}) object.import(key, 1);
  std::string keys;
  for (const auto& member : object.members()) keys += member.first + "|";
  EXPECT_EQ(keys, "B|a|a\x01|ab|b|\xC3\xA9|");
}

TEST(JsonObject, CopiesDeeplyAlsoFromItsOwnDepth) {
  Object object("o", Object("o", Object("x", 1)));
  const Object copy = object;
  object.get<Object>("o").import("o", 2);
  EXPECT_EQ(copy.get<Object>("o").get<Object>("o").get<Number>("x"), 1);

  object = copy;
  object.import(object);
  EXPECT_EQ(object.json(), copy.json());
  object.import(object.get<Object>("o"));  // replaces the member that it comes from
  EXPECT_EQ(object.json(), Object("o", Object("x", 1)).json());
  object = object.get<Object>("o");
  EXPECT_EQ(object.json(), Object("x", 1).json());
  Object target("old", 1);
  target = std::move(object);
  EXPECT_EQ(target.json(), Object("x", 1).json());
}

TEST(JsonArray, AppendsAndConcatenates) {
  Array array(Value(1));
  array << "two" << Value(Array(Value(3)));
  array << array;
  EXPECT_EQ(array.size(), 6U);
  EXPECT_EQ(array.get<String>(4), "two");
  EXPECT_EQ(array.get<Array>(5).get<Number>(0), 3);
  array << array.get<Array>(5);
  EXPECT_EQ(array.get<Number>(6), 3);
  array = array.get<Array>(5);
  EXPECT_EQ(array.size(), 1U);
  array = *&array;
  EXPECT_EQ(array.get<Number>(0), 3);
  array = Value("one");
  EXPECT_EQ(array.get<String>(0), "one");
  array.reset();
  EXPECT_TRUE(array.empty());
}

TEST(JsonChecks, NameTheExpressionAndAbort) {
  const std::string tail =
      "' failed at .*shared/json/jsonxx\\.(h|cpp):[0-9]+ -> .*assertion.*Assertion `0' failed";
  const auto failed = [&tail](const std::string& expression) {
    return "^\\[JSONXX\\] expression '" + expression + tail;
  };
  Value text("text"), number(1);
  const Value constant("text");
  EXPECT_DEATH(text.get<Number>(), failed("is<Number>\\(\\)"));
  EXPECT_DEATH(constant.get<Boolean>(), failed("is<Boolean>\\(\\)"));

  Object object("s", "text");
  EXPECT_FALSE(object.has<Number>("s"));
  EXPECT_FALSE(object.has<String>("t"));
  EXPECT_DEATH(object.get<Number>("s"), failed("has<T>\\(key\\)"));
  EXPECT_DEATH(std::as_const(object).get<Array>("missing"), failed("has<T>\\(key\\)"));
  EXPECT_DEATH(object << "" << Value(Object()), failed("is<String>\\(\\)"));

  Array array(text);
  EXPECT_DEATH(array.get<String>(1), failed("i < size\\(\\)"));
  EXPECT_DEATH(std::as_const(array).get<String>(static_cast<std::size_t>(-1)), failed("i < size\\(\\)"));

  const int unknownKind = 7;
  std::memcpy(static_cast<void*>(&number), &unknownKind, sizeof(unknownKind));
  EXPECT_DEATH(text.import(number), failed("!\"not implemented\""));
}

}  // namespace
