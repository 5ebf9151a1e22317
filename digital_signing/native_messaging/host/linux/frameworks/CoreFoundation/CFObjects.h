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

class Data final : public Object {
 public:
  static constexpr CFTypeID kType = kTypeData;
  explicit Data(std::vector<std::uint8_t> bytes) : Object(kType), bytes_(std::move(bytes)) {}

  const std::vector<std::uint8_t>& bytes() const { return bytes_; }

 private:
  const std::vector<std::uint8_t> bytes_;
};

class Number final : public Object {
 public:
  static constexpr CFTypeID kType = kTypeNumber;
  using Value = std::variant<std::int64_t, double>;
  explicit Number(Value value) : Object(kType), value_(value) {}

  const Value& value() const { return value_; }

 private:
  const Value value_;
};

class Array final : public Object {
 public:
  static constexpr CFTypeID kType = kTypeArray;
  explicit Array(std::vector<Owned<>> elements) : Object(kType), elements_(std::move(elements)) {}

  const std::vector<Owned<>>& elements() const { return elements_; }

 private:
  const std::vector<Owned<>> elements_;
};

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

class Error final : public Object {
 public:
  static constexpr CFTypeID kType = kTypeError;
  Error(CFIndex code, std::string description, std::string reason = {})
      : Object(kType), code_(code), description_(std::move(description)), reason_(std::move(reason)) {}

  CFIndex code() const { return code_; }
  const std::string& description() const { return description_; }
  /** A word for programs; empty where the code says all that is known. */
  const std::string& reason() const { return reason_; }

 private:
  const CFIndex code_;
  const std::string description_;
  const std::string reason_;
};

}  // namespace vorn::frameworks
