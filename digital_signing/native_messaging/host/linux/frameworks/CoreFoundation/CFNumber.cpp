#include "CoreFoundation/CFNumber.h"

#include <cmath>
#include <cstring>
#include <limits>
#include <optional>
#include <type_traits>

#include "CoreFoundation/CFInternal.h"

using namespace vorn::frameworks;

/** Complete, so that the constants' addresses need no cast, as for texts. */
struct OpaqueCFBoolean : Object {
 protected:
  using Object::Object;
  ~OpaqueCFBoolean() override = default;
};

namespace {

class BooleanConstant final : public OpaqueCFBoolean {
 public:
  static constexpr CFTypeID kType = kTypeBoolean;
  constexpr explicit BooleanConstant(bool value)
      : OpaqueCFBoolean(kType, Lifetime::immortal), value_(value) {}
  ~BooleanConstant() override = default;
  bool value() const { return value_; }

 private:
  const bool value_;
};

constinit const Undying<BooleanConstant> kTrueObject(true);
constinit const Undying<BooleanConstant> kFalseObject(false);

/** Calls `action` with a zero of the C type that `type` names; an empty result for a type that there is none
 * of. */
template <class Action>
auto withCType(CFNumberType type, Action action) -> decltype(action(0)) {
  switch (type) {
    case kCFNumberSInt8Type:
    case kCFNumberCharType:
      return action(std::int8_t{});
    case kCFNumberSInt16Type:
    case kCFNumberShortType:
      return action(std::int16_t{});
    case kCFNumberSInt32Type:
    case kCFNumberIntType:
      return action(std::int32_t{});
    case kCFNumberSInt64Type:
    case kCFNumberLongType:
    case kCFNumberLongLongType:
    case kCFNumberCFIndexType:
    case kCFNumberNSIntegerType:
      return action(std::int64_t{});
    case kCFNumberFloat32Type:
    case kCFNumberFloatType:
      return action(float{});
    case kCFNumberFloat64Type:
    case kCFNumberDoubleType:
    case kCFNumberCGFloatType:
      return action(double{});
  }
  return {};
}

template <class T>
struct Converted {
  T value;
  bool lossless;
};

/** The cast to an integer type, for numbers to which C gives no result too. */
template <class T>
Converted<T> toInteger(double number) {
  using Limits = std::numeric_limits<T>;
  // One past the largest value: unlike that value itself, a double holds it exactly.
  const double end = -static_cast<double>(Limits::min());
  const double whole = std::trunc(number);
  if (std::isnan(number)) {
    return {0, false};
  }
  if (whole >= end) {
    return {Limits::max(), false};
  }
  if (whole < static_cast<double>(Limits::min())) {
    return {Limits::min(), false};
  }
  return {static_cast<T>(whole), whole == number};
}

template <class T>
Converted<T> convert(std::int64_t number) {
  const T value = static_cast<T>(number);
  if constexpr (std::is_integral_v<T>) {
    return {value, value == number};
  } else {
    const auto back = toInteger<std::int64_t>(value);
    return {value, back.lossless && back.value == number};
  }
}

template <class T>
Converted<T> convert(double number) {
  if constexpr (std::is_integral_v<T>) {
    return toInteger<T>(number);
  } else {
    const T value = static_cast<T>(number);
    return {value, static_cast<double>(value) == number || std::isnan(number)};
  }
}

/** The number as an integer, if it is one exactly. */
std::optional<std::int64_t> exactInteger(const Number::Value& number) {
  const auto converted = std::visit([](auto value) { return convert<std::int64_t>(value); }, number);
  return converted.lossless ? std::optional(converted.value) : std::nullopt;
}

}  // namespace

namespace vorn::frameworks {

bool Number::equals(const Object& other) const {
  const Value& otherValue = static_cast<const Number&>(other).value_;
  if (value_.index() == otherValue.index()) {
    return value_ == otherValue;
  }
  const auto integer = exactInteger(value_);
  return integer && integer == exactInteger(otherValue);
}

Owned<Number> makeNumber(double value) {
  return Owned<Number>(new Number(value));
}
Owned<Number> makeNumber(std::int32_t value) {
  return Owned<Number>(new Number(std::int64_t{value}));
}

}  // namespace vorn::frameworks

constinit const CFBooleanRef kCFBooleanTrue = &kTrueObject.value;
constinit const CFBooleanRef kCFBooleanFalse = &kFalseObject.value;

CFTypeID CFBooleanGetTypeID() {
  return kTypeBoolean;
}

Boolean CFBooleanGetValue(CFBooleanRef boolean) {
  const auto* object = objectCast<BooleanConstant>(boolean);
  return object != nullptr && object->value();
}

CFTypeID CFNumberGetTypeID() {
  return kTypeNumber;
}

CFNumberRef CFNumberCreate(CFAllocatorRef /*allocator*/, CFNumberType type, const void* value) {
  if (value == nullptr) {
    return nullptr;
  }
  return guarded([&] {
    return withCType(type, [&](auto number) {
      std::memcpy(&number, value, sizeof number);
      using Stored = std::conditional_t<std::is_integral_v<decltype(number)>, std::int64_t, double>;
      return handOver<CFNumberRef>(Owned<Number>(new Number(static_cast<Stored>(number))));
    });
  });
}

Boolean CFNumberGetValue(CFNumberRef number, CFNumberType type, void* value) {
  const auto* object = objectCast<Number>(number);
  if (object == nullptr || value == nullptr) {
    return false;
  }
  return withCType(type, [&](auto zero) {
    const auto converted =
        std::visit([](auto stored) { return convert<decltype(zero)>(stored); }, object->value());
    std::memcpy(value, &converted.value, sizeof converted.value);
    return converted.lossless;
  });
}
