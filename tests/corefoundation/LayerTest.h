#pragma once

#include <gtest/gtest.h>

#include <string>

#include "CoreFoundation/CFInternal.h"
#include "mac/app/CFRef.h"

using vorn::CFRef;

using vorn::frameworks::Object;

/** Fails a test that leaves objects behind, or that releases one of others' too many. */
class LayerTest : public testing::Test {
 protected:
  void TearDown() override { EXPECT_EQ(Object::liveCount(), before_); }

 private:
  const std::size_t before_ = Object::liveCount();
};

template <class Ref>
CFRef<Ref> own(Ref object) {
  return CFRef<Ref>::adopt(object);
}

inline CFRef<CFStringRef> text(const std::string& utf8) {
  return own(CFStringCreateWithBytes(nullptr, reinterpret_cast<const UInt8*>(utf8.data()),
                                     static_cast<CFIndex>(utf8.size()), kCFStringEncodingUTF8, false));
}
