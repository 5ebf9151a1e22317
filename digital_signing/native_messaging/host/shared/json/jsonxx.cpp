#include "shared/json/jsonxx.h"

// The checks of this library end the process by design, in release builds too: whatever the build type says,
// the assertion below has to be alive.
#undef NDEBUG
#include <cassert>
#include <cstdio>

#include "shared/json/JsonReader.h"
#include "shared/json/JsonWriter.h"

namespace jsonxx {

void assertion(const char* file, int line, const char* expression, bool result) {
  if (result) return;
  std::fprintf(stderr, "[JSONXX] expression '%s' failed at %s:%d -> ", expression, file, line);
  assert(0);
}

/** Takes containers apart before they are destroyed, so that destroying one never reaches into its depth.
 * Those that wait are linked to each other through themselves: where memory has run out, there is none
 * for a list. */
class Dismantler {
 public:
  ~Dismantler() {
    while (waiting_ != nullptr) {
      const std::unique_ptr<Value> container(std::exchange(waiting_, waiting_->next_));
      if (container->is<Array>())
        takeChildren(*container->payload_.array);
      else
        takeChildren(*container->payload_.object);
    }
  }

  void takeChildren(Array& array) noexcept {
    for (auto& element : array.elements_) take(element);
    array.elements_.clear();
  }

  void takeChildren(Object& object) noexcept {
    for (auto& member : object.members_) take(member.second);
    object.members_.clear();
  }

 private:
  void take(std::unique_ptr<Value>& value) noexcept {
    if (value == nullptr) return;
    const Value& child = *value;
    const bool hasChildren =
        (child.is<Array>() && child.payload_.array != nullptr && !child.payload_.array->empty()) ||
        (child.is<Object>() && child.payload_.object != nullptr && !child.payload_.object->empty());
    if (!hasChildren) return;
    value->next_ = waiting_;
    waiting_ = value.release();
  }

  Value* waiting_ = nullptr;
};

namespace {

/** Copies level by level from a list of what is still to be copied, so that no depth can exhaust the stack.
 */
class Copier {
 public:
  void copyChildren(const Array& from, Array& to) {
    for (const auto& element : from.elements()) {
      to.append(std::make_unique<Value>());
      copy(*element, *to.elements().back());
    }
  }

  void copyChildren(const Object& from, Object& to) {
    for (const auto& [key, value] : from.members()) {
      auto child = std::make_unique<Value>();
      Value& target = *child;
      to.store(String(key), std::move(child));
      copy(*value, target);
    }
  }

  void run() {
    while (!pending_.empty()) {
      const auto [from, to] = pending_.back();
      pending_.pop_back();
      if (from->is<Array>())
        copyChildren(from->get<Array>(), to->get<Array>());
      else
        copyChildren(from->get<Object>(), to->get<Object>());
    }
  }

 private:
  void copy(const Value& from, Value& to) {
    switch (from.kind()) {
      case Kind::kArray:
        to.import(Array());
        break;
      case Kind::kObject:
        to.import(Object());
        break;
      default:
        to.import(from);
        return;
    }
    pending_.emplace_back(&from, &to);
  }

  std::vector<std::pair<const Value*, Value*>> pending_;
};

}  // namespace

Value::Value(const char* text) : Value(String(text)) {}
Value::Value(std::string_view text) : Value(String(text)) {}

Value::Value(String text) : kind_(Kind::kString) {
  payload_.string = new String(std::move(text));
}
Value::Value(Array array) : kind_(Kind::kArray) {
  payload_.array = new Array(std::move(array));
}
Value::Value(Object object) : kind_(Kind::kObject) {
  payload_.object = new Object(std::move(object));
}

Value::Value(const Value& other) {
  import(other);
}

Value& Value::operator=(const Value& other) {
  import(other);
  return *this;
}

void Value::import(const Value& other) {
  if (&other == this) return;
  // What is copied may belong to what is replaced, so the copy comes first.
  switch (other.kind_) {
    case Kind::kString:
      return import(Value(other.get<String>()));
    case Kind::kArray:
      return import(Value(other.get<Array>()));
    case Kind::kObject:
      return import(Value(other.get<Object>()));
    case Kind::kNumber:
    case Kind::kBoolean:
    case Kind::kNull:
    case Kind::kInvalid: {
      Value copy;
      copy.kind_ = other.kind_;
      copy.payload_ = other.payload_;
      return import(std::move(copy));
    }
  }
  assertion(__FILE__, __LINE__, "!\"not implemented\"", false);
}

void Value::destroyPayload() noexcept {
  switch (kind_) {
    case Kind::kString:
      delete std::exchange(payload_.string, nullptr);
      break;
    case Kind::kArray:
      delete std::exchange(payload_.array, nullptr);
      break;
    case Kind::kObject:
      delete std::exchange(payload_.object, nullptr);
      break;
    default:
      break;
  }
}

Array::Array(Value element) {
  *this << std::move(element);
}

Array::Array(const Array& other) {
  elements_.reserve(other.size());
  Copier copier;
  copier.copyChildren(other, *this);
  copier.run();
}

Array& Array::operator=(const Array& other) {
  if (this != &other) *this = Array(other);
  return *this;
}

Array& Array::operator=(Array&& other) noexcept {
  // Taken first: `other` may be nested in this array.
  Array taken(std::move(other));
  elements_.swap(taken.elements_);
  return *this;
}

Array& Array::operator=(Value element) {
  return *this = Array(std::move(element));
}

Array& Array::operator<<(Value element) {
  append(std::make_unique<Value>(std::move(element)));
  return *this;
}

Array& Array::operator<<(Array other) {
  for (auto& element : other.elements_) append(std::move(element));
  other.elements_.clear();
  return *this;
}

void Array::reset() noexcept {
  Dismantler().takeChildren(*this);
}

Object::Object(String key, Value value) {
  store(std::move(key), std::make_unique<Value>(std::move(value)));
}

Object::Object(const Object& other) {
  Copier copier;
  copier.copyChildren(other, *this);
  copier.run();
}

Object& Object::operator=(const Object& other) {
  pendingKey_.clear();
  if (this != &other) *this = Object(other);
  return *this;
}

Object& Object::operator=(Object&& other) noexcept {
  // Taken first: `other` may be nested in this object.
  Object taken(std::move(other));
  members_.swap(taken.members_);
  pendingKey_.clear();
  return *this;
}

const Value* Object::find(std::string_view key) const {
  const auto member = members_.find(key);
  return member == members_.end() ? nullptr : member->second.get();
}

void Object::import(std::string_view key, Value value) {
  String ownKey(key);
  pendingKey_.clear();
  store(std::move(ownKey), std::make_unique<Value>(std::move(value)));
}

void Object::import(Object other) {
  pendingKey_.clear();
  while (!other.members_.empty()) {
    auto member = other.members_.extract(other.members_.begin());
    store(std::move(member.key()), std::move(member.mapped()));
  }
}

void Object::store(String&& key, std::unique_ptr<Value> value) {
  // Keys mostly come in order: rendered texts and copies are sorted.
  const auto hint = members_.end();
  members_.insert_or_assign(hint, std::move(key), std::move(value));
}

Object& Object::operator<<(Value keyOrValue) {
  if (pendingKey_.empty())
    pendingKey_ = std::move(keyOrValue.get<String>());
  else
    import(pendingKey_, std::move(keyOrValue));
  return *this;
}

Object& Object::operator<<(Object value) {
  import(pendingKey_, Value(std::move(value)));
  return *this;
}

void Object::reset() noexcept {
  Dismantler().takeChildren(*this);
}

bool Object::parse(std::string_view text) {
  // Into a fresh object: the text may belong to a member of this one.
  Object read;
  const bool complete = JsonReader(text).readObject(read);
  members_.swap(read.members_);
  return complete;
}

std::string Object::json() const {
  return JsonWriter().render(*this);
}

}  // namespace jsonxx
