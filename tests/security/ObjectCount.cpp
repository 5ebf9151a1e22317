#include <gtest/gtest.h>

#include "linux/frameworks/CoreFoundation/CFObjects.h"

namespace {

using vorn::frameworks::Object;

/** Every test of this program gives back all objects of the layer that it made. */
class ObjectCount : public testing::EmptyTestEventListener {
 public:
  void OnTestEnd(const testing::TestInfo& /*info*/) override { EXPECT_EQ(Object::liveCount(), 0U); }
};

[[maybe_unused]] const bool kRegistered = [] {
  testing::UnitTest::GetInstance()->listeners().Append(new ObjectCount);
  return true;
}();

}  // namespace
