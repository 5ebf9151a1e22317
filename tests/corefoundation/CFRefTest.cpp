#include <type_traits>

#include "corefoundation/LayerTest.h"

namespace {

using Text = CFRef<CFStringRef>;

static_assert(!std::is_copy_constructible_v<Text> && !std::is_copy_assignable_v<Text>);
static_assert(!std::is_convertible_v<CFStringRef, Text> && !std::is_constructible_v<Text, CFStringRef>);
static_assert(!std::is_convertible_v<Text, CFStringRef> && !std::is_convertible_v<Text, bool>);

using CFRefTest = LayerTest;

CFStringRef make() {
  return text("text").release();
}
std::size_t alive() {
  return Object::liveCount();
}

TEST_F(CFRefTest, AdoptsWithoutAndRetainsWithAReference) {
  const auto before = alive();
  {
    auto owner = Text::adopt(make());
    EXPECT_EQ(Text::retain(owner.get()).get(), owner.get());
    EXPECT_EQ(alive(), before + 1);
    const auto kept = Text::retain(owner.get());
    owner.reset();
    EXPECT_FALSE(owner);
    EXPECT_TRUE(kept);
    EXPECT_EQ(alive(), before + 1);
  }
  EXPECT_EQ(alive(), before);
  EXPECT_FALSE(Text::retain(nullptr));
}

TEST_F(CFRefTest, MovesAndGivesUpItsReference) {
  const auto before = alive();
  auto first = Text::adopt(make());
  CFStringRef const object = first.get();
  auto second = std::move(first);
  EXPECT_FALSE(first);  // NOLINT(bugprone-use-after-move): empty by contract
  EXPECT_EQ(second.get(), object);
  auto third = Text::adopt(make());
  third = std::move(second);
  EXPECT_EQ(third.get(), object);
  EXPECT_EQ(alive(), before + 1) << "what the target held is released";
  auto& itself = third;
  third = std::move(itself);
  CFStringRef const given = third.release();
  EXPECT_EQ(given, object);
  EXPECT_EQ(alive(), before + 1);
  CFRelease(given);
  EXPECT_EQ(alive(), before);
}

TEST_F(CFRefTest, OutParameterNeedsAnEmptyHolder) {
  Text holder;
  *holder.out() = make();
  EXPECT_TRUE(holder);
  EXPECT_DEATH(holder.out(), "");
  holder.reset();
  EXPECT_NE(holder.out(), nullptr);
}

TEST_F(CFRefTest, NullHasNoReferenceToCount) {
  EXPECT_DEATH(CFRetain(nullptr), "");   // NOLINT: misused on purpose
  EXPECT_DEATH(CFRelease(nullptr), "");  // NOLINT
}

}  // namespace
