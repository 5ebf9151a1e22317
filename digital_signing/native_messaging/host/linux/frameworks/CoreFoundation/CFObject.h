#pragma once

#include <atomic>
#include <cstddef>

#include "CoreFoundation/CFBase.h"

/**
 * The common head of every object of this layer; not part of the mirrored interface.
 *
 * A reference type of the interface (CFStringRef, SecKeyRef, ...) is the address of the `Object` part of a
 * C++ object, whatever its public type: convert with `asRef` and `objectCast`, never with a cast of your own.
 * An object starts with one reference, which belongs to whoever called the Create or Copy function.
 */
namespace vorn::frameworks {

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
