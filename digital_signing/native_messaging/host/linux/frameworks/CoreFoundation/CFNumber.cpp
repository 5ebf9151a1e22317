#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>

#include "CoreFoundation/CFObjects.h"

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
  constexpr BooleanConstant() : OpaqueCFBoolean(kTypeBoolean, Lifetime::immortal) {}
  ~BooleanConstant() override = default;
};

constinit const Undying<BooleanConstant> kTrueObject;
constinit const Undying<BooleanConstant> kFalseObject;

/** Calls `action` with a zero of the C type that `type` names; false for a type that there is none of. */
template <class Action>
auto withCType(CFNumberType type, Action action) -> decltype(action(0)) {
  switch (type) {
    case kCFNumberIntType:
      return action(int{});
    case kCFNumberLongType:
      return action(long{});
    case kCFNumberDoubleType:
      return action(double{});
  }
  return {};
}

/** The cast, for numbers to which C gives no result too. */
template <class T, class Stored>
T castNumber(Stored number) {
  using Limits = std::numeric_limits<T>;
  if constexpr (std::is_same_v<T, double>) {
    return static_cast<T>(number);
  } else if constexpr (std::is_same_v<Stored, double>) {
    // One past the largest value: unlike that value itself, a double holds it exactly.
    const double end = -static_cast<double>(Limits::min());
    if (std::isnan(number)) return 0;
    return number >= end ? Limits::max() : number <= -end ? Limits::min() : static_cast<T>(number);
  } else {
    return static_cast<T>(number);
  }
}

}  // namespace

constinit const CFBooleanRef kCFBooleanTrue = &kTrueObject.value;
constinit const CFBooleanRef kCFBooleanFalse = &kFalseObject.value;

CFTypeID CFNumberGetTypeID() {
  return kTypeNumber;
}

CFNumberRef CFNumberCreate(CFAllocatorRef /*allocator*/, CFNumberType type, const void* value) {
  return guarded([&] {
    return withCType(type, [&](auto number) {
      std::memcpy(&number, value, sizeof number);
      using Stored = std::conditional_t<std::is_integral_v<decltype(number)>, std::int64_t, double>;
      return handOver<CFNumberRef>(makeNumber(static_cast<Stored>(number)));
    });
  });
}

Boolean CFNumberGetValue(CFNumberRef number, CFNumberType type, void* value) {
  const auto* object = objectCast<Number>(number);
  if (object == nullptr) return false;
  return withCType(type, [&](auto zero) {
    return std::visit(
        [&](auto stored) {
          using T = decltype(zero);
          const T converted = castNumber<T>(stored);
          std::memcpy(value, &converted, sizeof converted);
          return castNumber<decltype(stored)>(converted) == stored;
        },
        object->value);
  });
}
