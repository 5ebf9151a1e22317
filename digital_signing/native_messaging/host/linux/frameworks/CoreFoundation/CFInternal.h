#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "CoreFoundation/CFObjects.h"
#include "CoreFoundation/CoreFoundation.h"

/**
 * What the frameworks of this layer build their objects with; not part of the mirrored interface.
 *
 * Who owns what: a make... function returns an `Owned`, which holds one reference and drops it when it goes.
 * `handOver` turns it into the bare reference that a Create or Copy function returns to its caller. The
 * accessors at the end borrow. The make... functions may throw std::bad_alloc; `guarded` keeps exceptions
 * inside a mirrored function.
 */
namespace vorn::frameworks {

/** Adds a reference to a borrowed object, for instance to put it into an array; `object` may be null. */
inline Owned<> retained(CFTypeRef object) {
  return Owned<>(object == nullptr ? nullptr : static_cast<Object*>(const_cast<void*>(CFRetain(object))));
}

/** The reference, now the caller's: CFDataRef data = handOver<CFDataRef>(makeData(bytes)). */
template <class Ref, class T>
Ref handOver(Owned<T> object) {
  return asRef<Ref>(object.release());
}

/** Runs `body`, and returns an empty result (null, 0, false) where it throws. */
template <class Body>
auto guarded(Body&& body) noexcept -> decltype(body()) {
  try {
    return body();
  } catch (...) {
    return decltype(body())();
  }
}

/** A constant text, there before any code runs: const CFStringRef kSecClass = constantString<"class">(); */
template <ConstantText text>
constexpr CFStringRef constantString() {
  return &kConstantString<text>.value;
}

/** Null when the text is not valid UTF-8. */
Owned<String> makeString(std::string_view utf8);
Owned<Data> makeData(std::span<const std::uint8_t> bytes);
Owned<Number> makeNumber(double value);
Owned<Number> makeNumber(std::int32_t value);
inline Owned<Array> makeArray(std::vector<Owned<>> elements) {
  return Owned<Array>(new Array(std::move(elements)));
}
/** Of entries with equal keys the first is found. */
inline Owned<Dictionary> makeDictionary(std::vector<Entry> entries) {
  return Owned<Dictionary>(new Dictionary(std::move(entries)));
}
Owned<Error> makeError(std::string_view domain, CFIndex code, std::string_view description,
                       std::string reason = {});

/** The text, valid as long as the object; empty for null and for what is not a string. */
std::string_view utf8Of(CFTypeRef string);
/** The bytes, valid as long as the object; empty for null and for what is not data. */
std::span<const std::uint8_t> bytesOf(CFDataRef data);

}  // namespace vorn::frameworks
