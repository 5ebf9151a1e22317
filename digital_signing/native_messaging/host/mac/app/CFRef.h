#pragma once

#include <CoreFoundation/CoreFoundation.h>

#include <cstdlib>
#include <utility>

namespace vorn {

/** The owner of one reference to a Core Foundation object (`T` is CFStringRef, SecKeyRef, ...), or of none.
 * It moves and does not copy; it releases its reference when it goes. */
template <class T>
class CFRef {
 public:
  CFRef() = default;
  CFRef(CFRef&& other) noexcept : object_(other.release()) {}
  CFRef& operator=(CFRef&& other) noexcept {
    if (this != &other) {
      reset();
      object_ = other.release();
    }
    return *this;
  }
  ~CFRef() { reset(); }

  /** Takes over the reference that a Create or Copy function returned. */
  [[nodiscard]] static CFRef adopt(T object) { return CFRef(object); }

  /** Adds a reference to an object that someone else owns, as one from a Get function. */
  [[nodiscard]] static CFRef retain(T object) {
    if (object != nullptr) CFRetain(object);
    return CFRef(object);
  }

  /** The object, which stays owned here; null when the holder is empty. */
  T get() const { return object_; }
  explicit operator bool() const { return object_ != nullptr; }

  /** Gives the reference to the caller; the holder is empty then. */
  [[nodiscard]] T release() { return std::exchange(object_, nullptr); }

  /** Drops the reference; the holder is empty then. */
  void reset() {
    if (T object = release(); object != nullptr) CFRelease(object);
  }

  /** The place for a Create or Copy function's out-parameter. The holder must be
   * empty: the process ends otherwise. */
  T* out() {
    if (object_ != nullptr) std::abort();
    return &object_;
  }

 private:
  explicit CFRef(T object) : object_(object) {}

  T object_ = nullptr;
};

}  // namespace vorn
