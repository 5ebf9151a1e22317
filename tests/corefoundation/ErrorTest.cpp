#include <string>
#include <utility>
#include <vector>

#include "corefoundation/LayerTest.h"

namespace {

using Texts = std::vector<std::pair<CFStringRef, CFTypeRef>>;

using ErrorTest = LayerTest;

CFRef<CFDictionaryRef> userInfo(const Texts& texts) {
  std::vector<const void*> keys;
  std::vector<const void*> values;
  for (const auto& [key, value] : texts) {
    keys.push_back(key);
    values.push_back(value);
  }
  return dictionaryOf(keys, values);
}

std::string descriptionOf(const CFRef<CFErrorRef>& error) {
  return vorn::frameworks::utf8Of(own(CFErrorCopyDescription(error.get())).get());
}

TEST_F(ErrorTest, DescribesWithTheBestTextItHas) {
  const CFStringRef kOwn = CFSTR("own");
  const std::string kNotCompleted = "The operation couldn\xE2\x80\x99t be completed. ";
  const auto& kText = kCFErrorLocalizedDescriptionKey;
  const auto& kFailure = kCFErrorLocalizedFailureKey;
  const auto& kReason = kCFErrorLocalizedFailureReasonKey;
  const auto& kPlain = kCFErrorDescriptionKey;
  const struct {
    CFErrorDomain domain;
    CFIndex code;
    Texts texts;
    std::string description;
  } kCases[] = {
      {kCFErrorDomainOSStatus, -25300, {}, kNotCompleted + "(OSStatus error -25300.)"},
      {kCFErrorDomainCocoa, 4, {}, kNotCompleted + "(Cocoa error 4.)"},
      {CFSTR("NSCoreFoundationErrorDomain"), 0, {}, kNotCompleted + "(Core Foundation error 0.)"},
      {kCFErrorDomainPOSIX, 2, {}, kNotCompleted + "No such file or directory"},
      {kOwn, 6, {}, kNotCompleted + "(own error 6.)"},
      {kOwn, 6, {{kPlain, CFSTR("Invalid")}}, kNotCompleted + "(own error 6 - Invalid)"},
      {CFSTR("d\u00FC"), -1, {{kPlain, CFSTR("")}}, kNotCompleted + "(d\xC3\xBC error -1 - )"},
      {kOwn, 6, {{kPlain, CFSTR("p")}, {kReason, CFSTR("Why.")}}, kNotCompleted + "Why."},
      {kOwn, 6, {{kFailure, CFSTR("It failed.")}, {kReason, CFSTR("Why.")}}, "It failed. Why."},
      {kOwn, 6, {{kFailure, CFSTR("It failed.")}, {kPlain, CFSTR("p")}}, "It failed."},
      {kOwn, 6, {{kReason, CFSTR("Why.")}, {kText, CFSTR("As it")}, {kPlain, CFSTR("p")}}, "As it"},
      {kOwn, 6, {{kText, kCFBooleanTrue}, {kReason, CFSTR("Why.")}}, kNotCompleted + "Why."},
  };
  for (const auto& row : kCases) {
    const auto info = userInfo(row.texts);
    const auto error = own(CFErrorCreate(nullptr, row.domain, row.code, info.get()));
    EXPECT_EQ(descriptionOf(error), row.description);
    EXPECT_EQ(CFErrorGetCode(error.get()), row.code);
    EXPECT_TRUE(CFEqual(CFErrorGetDomain(error.get()), row.domain));
  }
}

TEST_F(ErrorTest, KeepsItsPartsAndRefusesOthers) {
  auto domain = text("some.domain");
  auto info = userInfo({{kCFErrorDescriptionKey, text("made").get()}});
  const auto error = own(CFErrorCreate(nullptr, domain.get(), 7, info.get()));
  const auto same = vorn::frameworks::makeError(domain.get(), 7, "made");
  EXPECT_TRUE(CFEqual(error.get(), same.get()));
  domain.reset();
  info.reset();
  EXPECT_EQ(descriptionOf(error),
            "The operation couldn\xE2\x80\x99t be completed. (some.domain error 7 - made)");

  EXPECT_EQ(CFErrorCreate(nullptr, nullptr, 1, nullptr), nullptr);
  EXPECT_EQ(CFErrorCreate(nullptr, CFSTR("d"), 1, reinterpret_cast<CFDictionaryRef>(kCFBooleanTrue)),
            nullptr);
  EXPECT_EQ(CFErrorCopyDescription(nullptr), nullptr);
  EXPECT_EQ(CFErrorGetDomain(nullptr), nullptr);
  EXPECT_EQ(CFErrorGetCode(nullptr), 0);
}

}  // namespace
