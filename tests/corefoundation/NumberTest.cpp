#include <cmath>
#include <limits>

#include "corefoundation/LayerTest.h"

namespace {

using NumberTest = LayerTest;

CFRef<CFNumberRef> number(double value) {
  return own(CFNumberCreate(nullptr, kCFNumberDoubleType, &value));
}

CFRef<CFNumberRef> number(std::int64_t value) {
  return own(CFNumberCreate(nullptr, kCFNumberSInt64Type, &value));
}

template <class T>
void expectValue(const CFRef<CFNumberRef>& from, CFNumberType type, T expected, bool lossless) {
  SCOPED_TRACE(testing::Message() << "type " << type << ", expected " << +expected);
  T variable[2] = {T(77), T(77)};
  EXPECT_EQ(CFNumberGetValue(from.get(), type, variable), lossless);
  EXPECT_EQ(variable[0], expected);
  EXPECT_EQ(variable[1], T(77)) << "written beyond the type";
}

TEST_F(NumberTest, WritesTheCastAndTellsWhetherItLoses) {
  constexpr std::int64_t kLargest = std::numeric_limits<std::int64_t>::max();
  constexpr std::int64_t kSmallest = std::numeric_limits<std::int64_t>::min();
  expectValue<std::int32_t>(number(-1.5), kCFNumberIntType, -1, false);
  expectValue<std::int32_t>(number(-7.0), kCFNumberSInt32Type, -7, true);
  expectValue<std::int32_t>(number(-2147483648.5), kCFNumberIntType, INT32_MIN, false);
  expectValue<std::int32_t>(number(2147483647.5), kCFNumberIntType, INT32_MAX, false);
  expectValue<std::int32_t>(number(std::nan("")), kCFNumberIntType, 0, false);
  expectValue<std::int64_t>(number(9223372036854775808.0), kCFNumberLongType, kLargest, false);
  expectValue<std::int64_t>(number(-9223372036854775808.0), kCFNumberLongLongType, kSmallest, true);
  expectValue<std::int8_t>(number(std::int64_t{300}), kCFNumberCharType, 44, false);
  expectValue<std::int8_t>(number(std::int64_t{-128}), kCFNumberSInt8Type, -128, true);
  expectValue<std::int16_t>(number(std::int64_t{70000}), kCFNumberShortType, 4464, false);
  expectValue<std::int16_t>(number(std::int64_t{160}), kCFNumberSInt16Type, 160, true);
  expectValue<std::int64_t>(number(kSmallest), kCFNumberCFIndexType, kSmallest, true);
  expectValue<std::int64_t>(number(kLargest), kCFNumberNSIntegerType, kLargest, true);
  expectValue<double>(number(kLargest), kCFNumberDoubleType, 9223372036854775808.0, false);
  expectValue<double>(number(std::int64_t{9007199254740993}), kCFNumberFloat64Type, 9007199254740992.0,
                      false);
  expectValue<double>(number(978307200.5), kCFNumberCGFloatType, 978307200.5, true);
  expectValue<float>(number(0.1), kCFNumberFloatType, 0.1f, false);
  expectValue<float>(number(0.5), kCFNumberFloat32Type, 0.5f, true);
}

TEST_F(NumberTest, ReadsTheTypeItIsMadeFrom) {
  const std::int8_t bytes[2] = {-2, 5};
  const auto fromByte = own(CFNumberCreate(nullptr, kCFNumberSInt8Type, bytes));
  const float single = 0.1f;
  const auto fromFloat = own(CFNumberCreate(nullptr, kCFNumberFloatType, &single));
  expectValue<std::int64_t>(fromByte, kCFNumberSInt64Type, -2, true);
  expectValue<double>(fromFloat, kCFNumberDoubleType, static_cast<double>(0.1f), true);
}

TEST_F(NumberTest, RefusesWhatIsNoNumber) {
  long untouched = 77;
  EXPECT_EQ(CFNumberCreate(nullptr, static_cast<CFNumberType>(17), &untouched), nullptr);  // NOLINT
  EXPECT_EQ(CFNumberCreate(nullptr, kCFNumberIntType, nullptr), nullptr);
  EXPECT_FALSE(CFNumberGetValue(nullptr, kCFNumberLongType, &untouched));
  EXPECT_FALSE(CFNumberGetValue(reinterpret_cast<CFNumberRef>(CFSTR("1")), kCFNumberLongType, &untouched));
  EXPECT_FALSE(CFNumberGetValue(number(1.0).get(), static_cast<CFNumberType>(0), &untouched));  // NOLINT
  EXPECT_EQ(untouched, 77);
  EXPECT_FALSE(CFBooleanGetValue(nullptr));
}

TEST_F(NumberTest, EqualByValueWhateverTheType) {
  const std::int64_t beyondDouble = 9007199254740993;
  EXPECT_TRUE(CFEqual(number(2.0).get(), number(std::int64_t{2}).get()));
  EXPECT_FALSE(CFEqual(number(2.5).get(), number(std::int64_t{2}).get()));
  EXPECT_FALSE(CFEqual(number(9007199254740992.0).get(), number(beyondDouble).get()));
  EXPECT_FALSE(CFEqual(kCFBooleanTrue, kCFBooleanFalse));
}

}  // namespace
