#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "CoreFoundation/CFObject.h"
#include "CoreFoundation/CFObjects.h"
#include "CoreFoundation/CoreFoundation.h"

/**
 * What the frameworks of this layer build their objects with; not part of the mirrored interface.
 *
 * Who owns what: a make... function returns an `Owned`, which holds one reference and drops it when it goes.
 * `handOver` turns it into the bare reference that a Create or Copy function returns to its caller. Arrays
 * and dictionaries retain what they are given: a list of `Owned` elements may go once they are made. The
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

/** A text from strict UTF-8; null when it does not decode. */
Owned<String> makeString(std::string_view utf8);
/** A text from ISO Latin-1, or ASCII with stray high bytes. Never null. */
Owned<String> makeStringLatin1(std::string_view bytes);
/** A text from UTF-16 code units. Never null. */
Owned<String> makeStringUtf16(std::u16string units);

Owned<Data> makeData(std::span<const std::uint8_t> bytes);

/** The retain and release functions of the kCFType... callbacks; null values are let be. */
const void* retainValue(CFAllocatorRef allocator, const void* value);
void releaseValue(CFAllocatorRef allocator, const void* value);

/** A constant ASCII text, there before any code runs: const CFStringRef kSecClass =
 * constantString<"class">(); */
template <ConstantText text>
constexpr CFStringRef constantString() {
  return &kConstantString<text>.value;
}

Owned<Number> makeNumber(double value);
Owned<Number> makeNumber(std::int32_t value);

/** An array of objects with the callbacks of kCFTypeArrayCallBacks. */
Owned<Array> makeArray(const std::vector<Owned<>>& elements);

/** Collects the elements for makeArray: makeArray(elements(makeString("a"), retained(ref))). */
template <class... T>
std::vector<Owned<>> elements(Owned<T>... objects) {
  std::vector<Owned<>> all;
  all.reserve(sizeof...(objects));
  (all.push_back(std::move(objects)), ...);
  return all;
}

/** A pair of a dictionary: the key is borrowed until the dictionary retains it, the value belongs to the
 * entry. */
struct Entry {
  template <class T>
  Entry(CFStringRef entryKey, Owned<T> entryValue) : key(entryKey), value(std::move(entryValue)) {}

  CFStringRef key;
  Owned<> value;
};

/** A dictionary of objects with the kCFType... callbacks. Of entries with equal keys the first is kept. */
Owned<Dictionary> makeDictionary(const std::vector<Entry>& entries);

/** makeDictionary with the entries in place: makeDictionaryOf(Entry(kA, makeString("a")), Entry(kB,
 * makeData(b))). */
template <class... E>
Owned<Dictionary> makeDictionaryOf(E... entries) {
  std::vector<Entry> all;
  all.reserve(sizeof...(entries));
  (all.push_back(std::move(entries)), ...);
  return makeDictionary(all);
}

/** An error whose user information is `description` (UTF-8) under kCFErrorDescriptionKey. */
Owned<Error> makeError(CFErrorDomain domain, CFIndex code, std::string_view description);

/** The text as UTF-8; empty for null, for what is not a string, and for a text with unpaired surrogates. */
std::string utf8Of(CFStringRef string);
/** The text as UTF-16 code units; empty for null and for what is not a string. */
std::u16string utf16Of(CFStringRef string);
/** The bytes, valid as long as the object; empty for null and for what is not data. */
std::span<const std::uint8_t> bytesOf(CFDataRef data);

}  // namespace vorn::frameworks
