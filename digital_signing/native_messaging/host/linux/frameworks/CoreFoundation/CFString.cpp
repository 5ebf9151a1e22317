#include <algorithm>
#include <compare>
#include <limits>
#include <map>
#include <mutex>

#include "CoreFoundation/CFObjects.h"
#include "shared/text/LetterCase.h"
#include "shared/text/Utf8.h"

using namespace vorn::frameworks;

namespace vorn::frameworks {

Owned<String> makeString(std::string_view utf8) {
  return Owned<String>(isValidUtf8(utf8) ? new String(std::string(utf8)) : nullptr);
}

std::string_view utf8Of(CFTypeRef string) {
  const auto* object = objectCast<String>(string);
  return object == nullptr ? std::string_view() : object->utf8();
}

}  // namespace vorn::frameworks

CFStringRef __CFStringMakeConstantString(const char* literal) {  // NOLINT(bugprone-reserved-identifier)
  static std::mutex mutex;
  static auto& constants = *new std::map<std::string, const String*, std::less<>>;
  return guarded([&]() -> CFStringRef {
    const std::lock_guard lock(mutex);
    const String*& constant = constants[literal];
    if (constant == nullptr) constant = String::makeImmortal(literal);
    return constant;
  });
}

CFTypeID CFStringGetTypeID() {
  return kTypeString;
}

CFStringRef CFStringCreateWithBytes(CFAllocatorRef /*allocator*/, const UInt8* bytes, CFIndex count,
                                    CFStringEncoding encoding, Boolean isExternalRepresentation) {
  if (count < 0 || encoding != kCFStringEncodingUTF8 || isExternalRepresentation) return nullptr;
  const std::string_view text(reinterpret_cast<const char*>(bytes), static_cast<std::size_t>(count));
  return guarded([&] { return handOver<CFStringRef>(makeString(text)); });
}

CFIndex CFStringGetLength(CFStringRef string) {
  return static_cast<CFIndex>(vorn::utf16Length(utf8Of(string)));
}

Boolean CFStringGetCString(CFStringRef string, char* buffer, CFIndex bufferSize, CFStringEncoding encoding) {
  if (objectCast<String>(string) == nullptr || bufferSize <= 0 || encoding != kCFStringEncodingUTF8)
    return false;
  const std::string_view text = utf8Of(string);
  const std::string_view written = vorn::cutUtf8(text, static_cast<std::size_t>(bufferSize) - 1);
  buffer[written.copy(buffer, written.size())] = '\0';
  return written.size() == text.size();
}

const char* CFStringGetCStringPtr(CFStringRef string, CFStringEncoding encoding) {
  const auto* object = objectCast<String>(string);
  const auto isAscii = [](char c) { return static_cast<unsigned char>(c) < 0x80; };
  return object != nullptr && encoding == kCFStringEncodingUTF8 &&
                 std::all_of(object->utf8().begin(), object->utf8().end(), isAscii)
             ? object->utf8().data()
             : nullptr;
}

CFIndex CFStringGetMaximumSizeForEncoding(CFIndex length, CFStringEncoding encoding) {
  // The four-byte characters are two units.
  constexpr CFIndex kLongestUnit = 3;
  return encoding != kCFStringEncodingUTF8 || length > std::numeric_limits<CFIndex>::max() / kLongestUnit
             ? CFIndex{kCFNotFound}
             : length * kLongestUnit;
}

CFComparisonResult CFStringCompare(CFStringRef first, CFStringRef second, CFStringCompareFlags flags) {
  const std::string_view one = utf8Of(first);
  const std::string_view other = utf8Of(second);
  const auto folded = [flags](char byte) {
    const bool ignoreCase = (flags & kCFCompareCaseInsensitive) != 0;
    return static_cast<unsigned char>(ignoreCase ? vorn::asciiLowerCase(byte) : byte);
  };
  const auto order = std::lexicographical_compare_three_way(
      one.begin(), one.end(), other.begin(), other.end(),
      [&folded](char left, char right) { return folded(left) <=> folded(right); });
  return order < 0 ? kCFCompareLessThan : order > 0 ? kCFCompareGreaterThan : kCFCompareEqualTo;
}
