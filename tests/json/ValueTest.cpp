#include <gtest/gtest.h>

#include <cstring>

#include "shared/json/jsonxx.h"

namespace {

using namespace jsonxx;

TEST(JsonValue, ImportReplacesWhatItMayComeFrom) {
  Value value("text");
  value.import(value);
  EXPECT_EQ(value.get<String>(), "text");
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

  object << "pending" << 1 << "dropped";  // by import and assignment; a copy does not have it
  Object copy = object;
  copy << "k" << 1;
  EXPECT_TRUE(copy.has<Number>("k"));
  object.import("i", 1);
  object << "k" << 2 << "dropped";
  object = Object("m", 1);
  object << "k" << 4;
  EXPECT_EQ(object.size(), 2U);
}

TEST(JsonObject, CopiesDeeplyAlsoFromItsOwnDepth) {
  Object object("o", Object("o", Object("x", 1)));
  const Object copy = object;
  object.get<Object>("o").import("o", 2);
  EXPECT_EQ(copy.get<Object>("o").get<Object>("o").get<Number>("x"), 1);

  object = copy;
  object.import(object.get<Object>("o"));  // replaces the member that it comes from
  EXPECT_EQ(object.json(), Object("o", Object("x", 1)).json());
  object = object.get<Object>("o");
  EXPECT_EQ(object.json(), Object("x", 1).json());
}

TEST(JsonArray, ReadsFromItself) {
  Array array(Value(1));
  array << "two" << Value(Array(Value(3)));
  array << array << array.get<Array>(2);
  EXPECT_EQ(array.size(), 7U);
  EXPECT_EQ(array.get<Number>(6), 3);
  array = array.get<Array>(5);
  EXPECT_EQ(array.size(), 1U);
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
