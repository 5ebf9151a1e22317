#pragma once

#include <concepts>
#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

/**
 * The JSON values in which every request and response is held.
 *
 * A Value owns what it holds, an Object owns its members and an Array its elements: copies are deep, nothing
 * is shared, and a moved-from value is kind invalid (a moved-from Object or Array is empty). Values of any
 * depth are read, copied and destroyed without recursion.
 *
 * Misuse (a wrong kind, a missing key, an index out of range) is a fault of the program: it is reported on
 * standard error and the process aborts, in every build type. Ask `has<T>(key)` before `get<T>(key)` for what
 * may be absent.
 */
namespace jsonxx {

class Array;
class Dismantler;
class Object;

using Number = long double;
using String = std::string;
using Boolean = bool;
struct Null {};

/** The kinds of value; the numbers are part of the contract. */
enum class Kind : std::int32_t {
  kNumber = 0,
  kString = 1,
  kBoolean = 2,
  kNull = 3,
  kArray = 4,
  kObject = 5,
  kInvalid = 6,
};

/** Returns if `result` is true. Otherwise names the expression and the place of the check on standard error
 * and aborts the process, whether or not NDEBUG is defined. */
void assertion(const char* file, int line, const char* expression, bool result);

namespace detail {

/** The kind of each payload type. */
template <typename T>
inline constexpr Kind kKindOf = Kind::kInvalid;
template <>
inline constexpr Kind kKindOf<Number> = Kind::kNumber;
template <>
inline constexpr Kind kKindOf<String> = Kind::kString;
template <>
inline constexpr Kind kKindOf<Boolean> = Kind::kBoolean;
template <>
inline constexpr Kind kKindOf<Null> = Kind::kNull;
template <>
inline constexpr Kind kKindOf<Array> = Kind::kArray;
template <>
inline constexpr Kind kKindOf<Object> = Kind::kObject;

/** The text of the check that `get` makes for each kind. */
inline constexpr const char* kChecks[] = {"is<Number>()", "is<String>()", "is<Boolean>()",
                                          "is<Null>()",   "is<Array>()",  "is<Object>()"};

}  // namespace detail

/** One value of any kind; fresh, it is invalid. */
class Value {
 public:
  Value() = default;
  /** Constrained to bool itself, for every pointer would convert to it. */
  template <std::same_as<Boolean> T>
  Value(T boolean) : kind_(Kind::kBoolean) {
    payload_.boolean = boolean;
  }
  /** Any other built-in integer or floating type, characters included, is a number. */
  template <typename T>
    requires(std::is_arithmetic_v<T> && !std::same_as<T, Boolean>)
  Value(T number) : kind_(Kind::kNumber) {
    payload_.number = static_cast<Number>(number);
  }
  Value(Null) : kind_(Kind::kNull) {}
  Value(std::nullptr_t) = delete;
  Value(const char* text);
  Value(std::string_view text);
  Value(String text);
  Value(Array array);
  Value(Object object);

  Value(const Value& other);
  Value(Value&& other) noexcept
      : kind_(std::exchange(other.kind_, Kind::kInvalid)), payload_(other.payload_) {}
  Value& operator=(const Value& other);
  /** Also from a value that this one owns. */
  Value& operator=(Value&& other) noexcept {
    Value taken(std::move(other));
    std::swap(kind_, taken.kind_);
    std::swap(payload_, taken.payload_);
    return *this;
  }
  ~Value() { reset(); }

  /** Replaces what is held by a copy of `other`, or by whatever a Value can be made from. */
  void import(const Value& other);
  void import(Value&& other) noexcept { *this = std::move(other); }

  /** Destroys what is owned. The kind stays; its payload then reads as empty. */
  void reset() noexcept {
    if (kind_ == Kind::kString || kind_ == Kind::kArray || kind_ == Kind::kObject) destroyPayload();
  }

  Kind kind() const { return kind_; }

  template <typename T>
  bool is() const {
    static_assert(detail::kKindOf<T> != Kind::kInvalid);
    return kind_ == detail::kKindOf<T>;
  }

  /** The payload, owned by this value and valid until it is changed. Aborts unless `is<T>()`. */
  template <typename T>
  T& get();
  template <typename T>
  const T& get() const;

 private:
  union Payload {
    Number number;
    String* string;
    Boolean boolean;
    Null null;
    Array* array;
    Object* object;
  };

  void destroyPayload() noexcept;

  template <typename T>
  static constexpr bool kOwned = std::same_as<T, String> || std::same_as<T, Array> || std::same_as<T, Object>;
  template <typename T, typename Self>
  static auto& slot(Self& self);
  template <typename T>
  static const T& emptyPayload();

  friend class Dismantler;

  Kind kind_ = Kind::kInvalid;
  Value* next_ = nullptr;  // while it is taken apart; stands where the payload's alignment leaves room
  Payload payload_ = {};
};

/** A sequence of values. */
class Array {
 public:
  using Elements = std::vector<std::unique_ptr<Value>>;

  Array() = default;
  /** An array of this one element. */
  explicit Array(Value element);
  Array(const Array& other);
  Array(Array&& other) noexcept = default;
  Array& operator=(const Array& other);
  Array& operator=(Array&& other) noexcept;
  /** Leaves this one element. */
  Array& operator=(Value element);
  ~Array() { reset(); }

  std::size_t size() const { return elements_.size(); }
  bool empty() const { return elements_.empty(); }

  /** The payload of element `i`. Aborts when there is none, or it is of another kind. */
  template <typename T>
  T& get(std::size_t i);
  template <typename T>
  const T& get(std::size_t i) const;

  /** Appends one element. */
  Array& operator<<(Value element);
  /** Appends the elements of `other`, one by one: arrays are concatenated, not nested. */
  Array& operator<<(Array other);
  /** Appends an element that is already on the heap; it is not null. */
  void append(std::unique_ptr<Value> element) { elements_.push_back(std::move(element)); }

  void reset() noexcept;

  /** For reading in order. */
  const Elements& elements() const { return elements_; }

 private:
  friend class Dismantler;
  Elements elements_;
};

/** Members by key. Their order is that of the keys' bytes, whatever the order in which they came. */
class Object {
 public:
  using Members = std::map<String, std::unique_ptr<Value>, std::less<>>;

  Object() = default;
  /** An object of this one member. */
  Object(String key, Value value);
  /** Copying and moving take the members; a pending key is left behind. */
  Object(const Object& other);
  Object(Object&& other) noexcept : members_(std::move(other.members_)) {}
  Object& operator=(const Object& other);
  Object& operator=(Object&& other) noexcept;
  ~Object() { reset(); }

  std::size_t size() const { return members_.size(); }
  bool empty() const { return members_.empty(); }

  /** Whether there is a member of this key and kind. */
  template <typename T>
  bool has(std::string_view key) const;

  /** The payload of the member. Aborts unless `has<T>(key)`. */
  template <typename T>
  T& get(std::string_view key);
  template <typename T>
  const T& get(std::string_view key) const;

  /** Sets the member, replacing one of the same key. A pending key is dropped. */
  void import(std::string_view key, Value value);
  /** Sets all members of `other` in the same way. */
  void import(Object other);
  /** Sets the member to a value that is already on the heap and not null; a pending key stays. */
  void store(String&& key, std::unique_ptr<Value> value);

  /** Takes a key and its value in turns: the first operand must be a string (the check aborts) and becomes
   * the pending key, the next is set under it. The empty string cannot become a pending key. */
  Object& operator<<(Value keyOrValue);
  /** Sets the object under the pending key, or under the empty key if none is pending. */
  Object& operator<<(Object value);

  /** Destroys all members; a pending key stays. */
  void reset() noexcept;

  /** Replaces the members by those of the object at the start of `text`; what follows its closing brace is
   * not looked at. Returns false when the text is malformed; the members read before the fault are then kept.
   */
  bool parse(std::string_view text);

  /** The text of this object, as it goes out in a response. */
  std::string json() const;

  /** For reading in key order. */
  const Members& members() const { return members_; }

 private:
  friend class Dismantler;
  const Value* find(std::string_view key) const;

  Members members_;
  String pendingKey_;
};

template <typename T, typename Self>
auto& Value::slot(Self& self) {
  if constexpr (std::same_as<T, Number>)
    return self.payload_.number;
  else if constexpr (std::same_as<T, String>)
    return self.payload_.string;
  else if constexpr (std::same_as<T, Boolean>)
    return self.payload_.boolean;
  else if constexpr (std::same_as<T, Null>)
    return self.payload_.null;
  else if constexpr (std::same_as<T, Array>)
    return self.payload_.array;
  else
    return self.payload_.object;
}

template <typename T>
const T& Value::emptyPayload() {
  static const T kEmpty;
  return kEmpty;
}

template <typename T>
T& Value::get() {
  assertion(__FILE__, __LINE__, detail::kChecks[static_cast<int>(detail::kKindOf<T>)], is<T>());
  auto& payload = slot<T>(*this);
  if constexpr (kOwned<T>) {
    if (payload == nullptr) payload = new T();
    return *payload;
  } else {
    return payload;
  }
}

template <typename T>
const T& Value::get() const {
  assertion(__FILE__, __LINE__, detail::kChecks[static_cast<int>(detail::kKindOf<T>)], is<T>());
  const auto& payload = slot<T>(*this);
  if constexpr (kOwned<T>)
    return payload == nullptr ? emptyPayload<T>() : *payload;
  else
    return payload;
}

template <typename T>
T& Array::get(std::size_t i) {
  assertion(__FILE__, __LINE__, "i < size()", i < size());
  return elements_[i]->get<T>();
}

template <typename T>
const T& Array::get(std::size_t i) const {
  assertion(__FILE__, __LINE__, "i < size()", i < size());
  return std::as_const(*elements_[i]).get<T>();
}

template <typename T>
bool Object::has(std::string_view key) const {
  const Value* value = find(key);
  return value != nullptr && value->is<T>();
}

template <typename T>
T& Object::get(std::string_view key) {
  assertion(__FILE__, __LINE__, "has<T>(key)", has<T>(key));
  return members_.find(key)->second->get<T>();
}

template <typename T>
const T& Object::get(std::string_view key) const {
  assertion(__FILE__, __LINE__, "has<T>(key)", has<T>(key));
  return find(key)->get<T>();
}

}  // namespace jsonxx
