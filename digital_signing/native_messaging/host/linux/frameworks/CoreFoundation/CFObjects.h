#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

#include "CoreFoundation/CFArray.h"
#include "CoreFoundation/CFDictionary.h"
#include "CoreFoundation/CFError.h"
#include "CoreFoundation/CFObject.h"

/** The objects behind the mirrored types; CFInternal.h makes them. */

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

/** A text: eight bits a character and zero-ended if it is all ASCII, UTF-16 if not. */
class String final : public OpaqueCFString {
 public:
  static constexpr CFTypeID kType = kTypeString;

  /** `units` are stored as they are; the reference count starts at one. */
  explicit String(std::u16string units);
  /** A constant over text that must be ASCII, zero-ended, and there for the life of the process. */
  constexpr explicit String(std::string_view constant)
      : OpaqueCFString(kType, Lifetime::immortal), ascii_(constant), isAscii_(true) {}
  /** A constant made at run time, never destroyed. */
  static const String* makeImmortal(std::u16string units);
  ~String() override = default;

  std::size_t length() const { return isAscii_ ? ascii_.size() : units_.size(); }
  char16_t unit(std::size_t index) const {
    return isAscii_ ? static_cast<char16_t>(ascii_[index]) : units_[index];
  }
  /** The text if it is all ASCII, zero-ended; null otherwise. */
  const char* ascii() const { return isAscii_ ? ascii_.data() : nullptr; }

  bool equals(const Object& other) const override;

 private:
  struct Storage {
    std::string ascii;
    std::u16string units;
  };
  String(std::u16string units, Lifetime lifetime);

  std::unique_ptr<const Storage> storage_;
  std::string_view ascii_;
  std::u16string_view units_;
  bool isAscii_;
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

class Data final : public Object {
 public:
  static constexpr CFTypeID kType = kTypeData;
  explicit Data(std::vector<std::uint8_t> bytes) : Object(kType), bytes_(std::move(bytes)) {}

  const std::vector<std::uint8_t>& bytes() const { return bytes_; }
  bool equals(const Object& other) const override { return bytes_ == static_cast<const Data&>(other).bytes_; }

 private:
  const std::vector<std::uint8_t> bytes_;
};

class Number final : public Object {
 public:
  static constexpr CFTypeID kType = kTypeNumber;
  using Value = std::variant<std::int64_t, double>;
  explicit Number(Value value) : Object(kType), value_(value) {}

  const Value& value() const { return value_; }
  bool equals(const Object& other) const override;

 private:
  const Value value_;
};

class Array final : public Object {
 public:
  static constexpr CFTypeID kType = kTypeArray;
  Array(const CFArrayCallBacks& callBacks, std::size_t capacity) : Object(kType), callBacks_(callBacks) {
    elements_.reserve(capacity);
  }
  ~Array() override;

  /** Retains and adds an element. */
  void add(const void* element);
  const std::vector<const void*>& elements() const { return elements_; }
  bool equals(const Object& other) const override;

 private:
  std::vector<const void*> elements_;
  const CFArrayCallBacks callBacks_;
};

/** Few entries, searched in their order. */
class Dictionary final : public Object {
 public:
  static constexpr CFTypeID kType = kTypeDictionary;
  using Pair = std::pair<const void*, const void*>;

  Dictionary(const CFDictionaryKeyCallBacks& keyCallBacks, const CFDictionaryValueCallBacks& valueCallBacks,
             std::size_t capacity)
      : Object(kType), keyCallBacks_(keyCallBacks), valueCallBacks_(valueCallBacks) {
    pairs_.reserve(capacity);
  }
  ~Dictionary() override;

  /** Retains and adds a pair, unless the key is there already. */
  void add(const void* key, const void* value);
  /** The pair with this key, or null. */
  const Pair* find(const void* key) const;
  /** The pairs in the order in which they were added. */
  const std::vector<Pair>& pairs() const { return pairs_; }
  bool equals(const Object& other) const override;

 private:
  std::vector<Pair> pairs_;
  const CFDictionaryKeyCallBacks keyCallBacks_;
  const CFDictionaryValueCallBacks valueCallBacks_;
};

class Error final : public Object {
 public:
  static constexpr CFTypeID kType = kTypeError;
  /** Retains both objects; `userInfo` may be null. */
  Error(CFErrorDomain domain, CFIndex code, CFDictionaryRef userInfo);

  CFErrorDomain domain() const { return asRef<CFErrorDomain>(domain_.get()); }
  CFIndex code() const { return code_; }
  CFDictionaryRef userInfo() const { return asRef<CFDictionaryRef>(userInfo_.get()); }
  bool equals(const Object& other) const override;

 private:
  const Owned<> domain_;
  const CFIndex code_;
  const Owned<> userInfo_;
};

}  // namespace vorn::frameworks
