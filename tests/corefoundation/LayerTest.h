#pragma once

#include <gtest/gtest.h>

#include <string>

#include "CoreFoundation/CFInternal.h"
#include "mac/app/CFRef.h"

namespace corefoundation_test {

using vorn::frameworks::Object;

/** Fails a test that leaves objects behind, or that releases one of others' too many. */
class LayerTest : public testing::Test {
 protected:
  void TearDown() override { EXPECT_EQ(Object::liveCount(), before_); }

 private:
  const std::size_t before_ = Object::liveCount();
};

inline CFRef<CFStringRef> text(const std::string& utf8) {
  return CFRef<CFStringRef>::adopt(
      CFStringCreateWithCString(kCFAllocatorDefault, utf8.c_str(), kCFStringEncodingUTF8));
}

}  // namespace corefoundation_test
