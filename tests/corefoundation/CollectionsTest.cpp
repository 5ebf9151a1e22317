#include "corefoundation/LayerTest.h"

namespace {

using CollectionsTest = LayerTest;

CFRef<CFArrayRef> arrayOf(std::vector<const void*> values, const CFArrayCallBacks* callBacks) {
  return own(CFArrayCreate(nullptr, values.data(), static_cast<CFIndex>(values.size()), callBacks));
}

TEST_F(CollectionsTest, DataIsACopyReadWithinBounds) {
  UInt8 bytes[] = {1, 2, 3, 4};
  const auto data = own(CFDataCreate(nullptr, bytes, 4));
  bytes[0] = 9;
  EXPECT_EQ(CFDataGetLength(data.get()), 4);
  EXPECT_EQ(CFDataGetBytePtr(data.get())[0], 1);
  const struct {
    CFRange range;
    std::vector<UInt8> buffer;
  } kCases[] = {
      {CFRangeMake(1, 2), {2, 3, 0, 0}},         {CFRangeMake(0, 4), {1, 2, 3, 4}},
      {CFRangeMake(3, 2), {0, 0, 0, 0}},         {CFRangeMake(-1, 2), {0, 0, 0, 0}},
      {CFRangeMake(0, -1), {0, 0, 0, 0}},        {CFRangeMake(5, -1), {0, 0, 0, 0}},
      {CFRangeMake(1, INT64_MAX), {0, 0, 0, 0}},
  };
  for (const auto& row : kCases) {
    std::vector<UInt8> buffer(4);
    CFDataGetBytes(data.get(), row.range, buffer.data());
    EXPECT_EQ(buffer, row.buffer) << row.range.location << "+" << row.range.length;
  }
  const auto empty = own(CFDataCreate(nullptr, nullptr, 0));
  EXPECT_NE(CFDataGetBytePtr(empty.get()), nullptr);
  EXPECT_FALSE(CFEqual(empty.get(), data.get()));
  EXPECT_EQ(CFDataCreate(nullptr, nullptr, 1), nullptr);
  EXPECT_EQ(CFDataCreate(nullptr, bytes, -1), nullptr);
  EXPECT_EQ(CFDataGetBytePtr(reinterpret_cast<CFDataRef>(kCFBooleanTrue)), nullptr);
}

TEST_F(CollectionsTest, ArraysRetainWithCallBacksOnly) {
  auto element = text("element");
  const auto retaining = arrayOf({element.get(), kCFBooleanTrue}, &kCFTypeArrayCallBacks);
  const auto same = arrayOf({text("element").get(), kCFBooleanTrue}, &kCFTypeArrayCallBacks);
  const auto byAddress = arrayOf({element.get(), kCFBooleanTrue}, nullptr);
  EXPECT_TRUE(CFEqual(retaining.get(), same.get()));
  EXPECT_FALSE(CFEqual(byAddress.get(), same.get()));
  const void* address = element.get();
  const auto alive = Object::liveCount();
  element.reset();
  EXPECT_EQ(Object::liveCount(), alive) << "the retaining array keeps it";
  EXPECT_EQ(CFArrayGetValueAtIndex(retaining.get(), 0), address);
  EXPECT_EQ(CFArrayGetCount(retaining.get()), 2);
  EXPECT_EQ(CFArrayGetValueAtIndex(retaining.get(), 2), nullptr);   // NOLINT: misused on purpose
  EXPECT_EQ(CFArrayGetValueAtIndex(retaining.get(), -1), nullptr);  // NOLINT
  EXPECT_EQ(CFArrayGetCount(reinterpret_cast<CFArrayRef>(kCFBooleanTrue)), 0);
  EXPECT_EQ(CFArrayCreate(nullptr, nullptr, 1, nullptr), nullptr);
}

TEST_F(CollectionsTest, DictionariesOfObjectsRetainAndCompareByValue) {
  auto key = text("key");
  auto value = text("value");
  const auto dictionary =
      dictionaryOf({key.get(), CFSTR("key"), CFSTR("other")}, {value.get(), kCFBooleanTrue, kCFBooleanFalse});
  const auto alive = Object::liveCount();
  key.reset();
  value.reset();
  EXPECT_EQ(Object::liveCount(), alive);
  EXPECT_EQ(CFDictionaryGetCount(dictionary.get()), 2) << "of equal keys the first is kept";
  EXPECT_TRUE(CFEqual(CFDictionaryGetValue(dictionary.get(), CFSTR("key")), CFSTR("value")));
  EXPECT_EQ(CFDictionaryGetValue(dictionary.get(), CFSTR("absent")), nullptr);
  EXPECT_EQ(CFDictionaryGetValue(dictionary.get(), nullptr), nullptr);
  EXPECT_EQ(CFDictionaryGetCount(reinterpret_cast<CFDictionaryRef>(kCFBooleanTrue)), 0);
  for (const bool equal : {true, false}) {
    const auto reordered = dictionaryOf({CFSTR("other"), CFSTR("key")},
                                        {kCFBooleanFalse, equal ? CFSTR("value") : CFSTR("Value")});
    EXPECT_EQ(CFEqual(dictionary.get(), reordered.get()), equal);
  }
}

TEST_F(CollectionsTest, DictionariesWithoutCallBacksKnowAddressesOnly) {
  auto key = text("key");
  auto value = text("value");
  const void* keyAddress = key.get();
  const auto before = Object::liveCount();
  const auto dictionary = dictionaryOf({key.get(), nullptr}, {value.get(), nullptr}, false);
  EXPECT_EQ(CFDictionaryGetValue(dictionary.get(), text("key").get()), nullptr);
  EXPECT_EQ(CFDictionaryGetValue(dictionary.get(), key.get()), value.get());
  key.reset();
  value.reset();
  EXPECT_EQ(Object::liveCount(), before + 1 - 2) << "the dictionary held neither";
  EXPECT_NE(CFDictionaryGetValue(dictionary.get(), keyAddress), nullptr);

  const void* found = &found;
  EXPECT_TRUE(CFDictionaryGetValueIfPresent(dictionary.get(), nullptr, &found)) << "there, with a null value";
  EXPECT_EQ(found, nullptr);
  EXPECT_FALSE(CFDictionaryGetValueIfPresent(dictionary.get(), CFSTR("absent"), &found));
}

}  // namespace
