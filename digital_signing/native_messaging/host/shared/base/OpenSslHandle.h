#pragma once

#include <memory>

namespace vorn {

template <auto release>
struct OpenSslRelease {
  template <typename Object>
  void operator()(Object* object) const {
    release(object);
  }
};

/** The owner of one object of OpenSSL, which `release` frees. */
template <typename Object, auto release>
using OpenSslHandle = std::unique_ptr<Object, OpenSslRelease<release>>;

}  // namespace vorn
