#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

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
  return own(CFStringCreateWithCString(kCFAllocatorDefault, utf8.c_str(), kCFStringEncodingUTF8));
}

inline CFRef<CFDictionaryRef> dictionaryOf(std::vector<const void*> keys, std::vector<const void*> values,
                                           bool ofObjects = true) {
  return own(CFDictionaryCreate(nullptr, keys.data(), values.data(), static_cast<CFIndex>(keys.size()),
                                ofObjects ? &kCFTypeDictionaryKeyCallBacks : nullptr,
                                ofObjects ? &kCFTypeDictionaryValueCallBacks : nullptr));
}
