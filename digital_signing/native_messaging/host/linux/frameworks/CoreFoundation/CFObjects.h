#pragma once

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

#include "CoreFoundation/CoreFoundation.h"

/**
 * The objects behind the mirrored types, and what makes them; not part of the mirrored interface.
 *
 * A reference type of the interface (CFStringRef, SecKeyRef, ...) is the address of the `Object` part of a
 * C++ object, whatever its public type: convert with `asRef` and `objectCast`, never with a cast of your own.
 * An object starts with one reference, which belongs to whoever called the Create or Copy function.
 *
 * A make... function returns an `Owned`, which holds one reference and drops it when it goes. `handOver`
 * turns it into the bare reference that a Create or Copy function returns to its caller. The accessors at the
 * end borrow. The make... functions may throw std::bad_alloc; `guarded` keeps exceptions inside a mirrored
 * function.
 */
namespace vorn::frameworks {

/** The common head of every object. */
class Object {
 public:
  Object(const Object&) = delete;
  Object& operator=(const Object&) = delete;

  CFTypeID typeID() const { return typeID_; }

  void retain() const { references_.fetch_add(1, std::memory_order_relaxed); }
  /** Destroys the object with its last reference. */
  void release() const {
    if (references_.fetch_sub(1, std::memory_order_acq_rel) == 1) delete this;
  }

  /** Objects alive in the process, constants (kCFBooleanTrue, the kSec... texts, CFSTR literals) not counted.
   */
  static std::size_t liveCount() { return live_.load(); }

 protected:
  enum class Lifetime { counted, immortal };

  /** An immortal object (a constant) is not counted as alive; retain and release leave it in peace. */
  constexpr explicit Object(CFTypeID typeID, Lifetime lifetime = Lifetime::counted)
      : typeID_(typeID), counted_(lifetime == Lifetime::counted), references_(counted_ ? 1 : kImmortal) {
    if (counted_) ++live_;
  }
  virtual ~Object() {
    if (counted_) --live_;
  }

 private:
  static constexpr long kImmortal = 1L << 40;
  static inline std::atomic<std::size_t> live_{0};

  const CFTypeID typeID_;
  const bool counted_;
  mutable std::atomic<long> references_;
};

/** Every type of the layer and its CFTypeID; 0 is no type. */
enum TypeID : CFTypeID {
  kTypeString = 1,
  kTypeData,
  kTypeNumber,
  kTypeBoolean,
  kTypeArray,
  kTypeDictionary,
  kTypeError,
  kTypeDateFormatter,
  kTypeCertificate,
  kTypeKey,
  kTypeIdentity,
  kTypeTransform,
};

/** The reference of an object, as the public type `Ref`. */
template <class Ref>
Ref asRef(const Object* object) {
  return reinterpret_cast<Ref>(const_cast<Object*>(object));
}

/** The object behind a reference, or null when the reference is null or of another type. `T::kType`
 * is its TypeID. */
template <class T>
T* objectCast(CFTypeRef ref) {
  auto* object = static_cast<Object*>(const_cast<void*>(ref));
  return object != nullptr && object->typeID() == T::kType ? static_cast<T*>(object) : nullptr;
}

}  // namespace vorn::frameworks

/** Complete here, so that the address of a constant text is a CFStringRef without a cast, at compile time. */
struct OpaqueCFString : vorn::frameworks::Object {
 protected:
  using Object::Object;
  ~OpaqueCFString() override = default;
};

namespace vorn::frameworks {

struct ReleaseObject {
  void operator()(const Object* object) const { object->release(); }
};

/** One reference to an object. */
template <class T = Object>
using Owned = std::unique_ptr<T, ReleaseObject>;

/** A text in UTF-8. */
class String final : public OpaqueCFString {
 public:
  static constexpr CFTypeID kType = kTypeString;

  explicit String(std::string utf8, Lifetime lifetime = Lifetime::counted)
      : OpaqueCFString(kType, lifetime),
        storage_(std::make_unique<const std::string>(std::move(utf8))),
        utf8_(*storage_) {}
  /** A constant over text that must be zero-ended and there for the life of the process. */
  constexpr explicit String(std::string_view constant)
      : OpaqueCFString(kType, Lifetime::immortal), utf8_(constant) {}
  /** A constant made at run time, never destroyed. */
  static const String* makeImmortal(std::string utf8) {
    return new String(std::move(utf8), Lifetime::immortal);
  }
  ~String() override = default;

  /** Zero-ended. */
  std::string_view utf8() const { return utf8_; }

 private:
  std::unique_ptr<const std::string> storage_;
  std::string_view utf8_;
};

/** A literal as a template argument. */
template <std::size_t size>
struct ConstantText {
  consteval ConstantText(const char (&literal)[size]) { std::copy_n(literal, size, text); }
  constexpr std::string_view view() const { return {text, size - 1}; }
  char text[size];
};

/** Holds a constant that no static destructor takes away from code that still runs. */
template <class T>
union Undying {
  template <class... A>
  constexpr explicit Undying(A&&... arguments) : value(std::forward<A>(arguments)...) {}
  ~Undying() {}
  T value;
};

template <ConstantText text>
inline constinit const Undying<String> kConstantString(text.view());

/** A value as an object. */
template <class T, CFTypeID type>
struct Holder final : Object {
  static constexpr CFTypeID kType = type;
  explicit Holder(T held) : Object(type), value(std::move(held)) {}

  const T value;
};

using Data = Holder<std::vector<std::uint8_t>, kTypeData>;
using Number = Holder<std::variant<std::int64_t, double>, kTypeNumber>;
using Array = Holder<std::vector<Owned<>>, kTypeArray>;

/** A pair of a dictionary of objects. */
struct Entry {
  Owned<> key;
  Owned<> value;
};

/** Few entries, searched in their order. */
class Dictionary final : public Object {
 public:
  static constexpr CFTypeID kType = kTypeDictionary;
  using Pair = std::pair<const void*, const void*>;

  /** Of pairs that are borrowed, whose keys are compared by address. */
  Dictionary() : Object(kType) {}
  /** Of objects that it owns, whose keys are compared as CFEqual does. */
  explicit Dictionary(std::vector<Entry> entries);

  /** Adds a pair, unless the key is there already. */
  void borrow(const void* key, const void* value);
  /** The value of the key, or null. */
  const void* find(const void* key) const;
  /** The pairs in the order in which they were added. */
  const std::vector<Pair>& pairs() const { return pairs_; }

 private:
  std::vector<Pair> pairs_;
  std::vector<Entry> entries_;
};

struct Error final : Object {
  static constexpr CFTypeID kType = kTypeError;
  Error(CFIndex number, std::string text, std::string word)
      : Object(kType), code(number), description(std::move(text)), reason(std::move(word)) {}

  const CFIndex code;
  const std::string description;
  /** A word for programs; empty where the code says all that is known. */
  const std::string reason;
};

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
inline Owned<Number> makeNumber(std::variant<std::int64_t, double> value) {
  return Owned<Number>(new Number(value));
}
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
