#include "CoreFoundation/CFString.h"

#include <cstring>
#include <limits>
#include <map>
#include <mutex>

#include "CoreFoundation/CFInternal.h"
#include "CoreFoundation/CFStringCodec.h"

using namespace vorn::frameworks;

namespace {

std::span<const std::uint8_t> asBytes(std::string_view text) {
  return {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()};
}

bool containsAscii(CFStringEncoding encoding) {
  return encoding == kCFStringEncodingUTF8 || encoding == kCFStringEncodingASCII ||
         encoding == kCFStringEncodingISOLatin1;
}

char16_t foldCase(char16_t unit) {
  return unit >= u'A' && unit <= u'Z' ? static_cast<char16_t>(unit - u'A' + u'a') : unit;
}

CFComparisonResult order(std::size_t first, std::size_t second) {
  if (first == second) {
    return kCFCompareEqualTo;
  }
  return first < second ? kCFCompareLessThan : kCFCompareGreaterThan;
}

CFComparisonResult compare(const String& first, const String& second, bool ignoreCase) {
  const std::size_t common = std::min(first.length(), second.length());
  for (std::size_t i = 0; i < common; ++i) {
    const char16_t one = ignoreCase ? foldCase(first.unit(i)) : first.unit(i);
    const char16_t other = ignoreCase ? foldCase(second.unit(i)) : second.unit(i);
    if (one != other) {
      return order(one, other);
    }
  }
  return order(first.length(), second.length());
}

}  // namespace

namespace vorn::frameworks {

String::String(std::u16string units) : String(std::move(units), Lifetime::counted) {}

String::String(std::u16string units, Lifetime lifetime)
    : OpaqueCFString(kType, lifetime),
      isAscii_(std::all_of(units.begin(), units.end(), [](char16_t unit) { return unit < 0x80; })) {
  std::string ascii;
  if (isAscii_) {
    ascii.reserve(units.size());
    std::transform(units.begin(), units.end(), std::back_inserter(ascii),
                   [](char16_t unit) { return static_cast<char>(unit); });
    units.clear();
  }
  storage_ = std::make_unique<const Storage>(Storage{std::move(ascii), std::move(units)});
  ascii_ = storage_->ascii;
  units_ = storage_->units;
}

const String* String::makeImmortal(std::u16string units) {
  return new String(std::move(units), Lifetime::immortal);
}

bool String::equals(const Object& other) const {
  return compare(*this, static_cast<const String&>(other), false) == kCFCompareEqualTo;
}

Owned<String> makeString(std::string_view utf8) {
  auto units = decodeText(asBytes(utf8), kCFStringEncodingUTF8, false);
  return units ? makeStringUtf16(std::move(*units)) : nullptr;
}

Owned<String> makeStringLatin1(std::string_view bytes) {
  return makeStringUtf16(*decodeText(asBytes(bytes), kCFStringEncodingISOLatin1, false));
}

Owned<String> makeStringUtf16(std::u16string units) {
  return Owned<String>(new String(std::move(units)));
}

std::string utf8Of(CFStringRef string) {
  const auto* object = objectCast<String>(string);
  if (object == nullptr) {
    return {};
  }
  auto encoded = encodeText(*object, kCFStringEncodingUTF8, std::numeric_limits<std::size_t>::max());
  return encoded.isComplete ? std::move(encoded.bytes) : std::string();
}

std::u16string utf16Of(CFStringRef string) {
  std::u16string units;
  if (const auto* object = objectCast<String>(string)) {
    units.reserve(object->length());
    for (std::size_t i = 0; i < object->length(); ++i) {
      units.push_back(object->unit(i));
    }
  }
  return units;
}

}  // namespace vorn::frameworks

CFStringRef __CFStringMakeConstantString(const char* literal) {  // NOLINT(bugprone-reserved-identifier)
  static std::mutex mutex;
  static auto& constants = *new std::map<std::string, const String*, std::less<>>;
  return guarded([&]() -> CFStringRef {
    const std::lock_guard lock(mutex);
    const auto known = constants.find(std::string_view(literal));
    if (known != constants.end()) {
      return known->second;
    }
    auto units = decodeText(asBytes(literal), kCFStringEncodingUTF8, false);
    if (!units) {
      return nullptr;
    }
    auto& place = constants[literal];
    place = String::makeImmortal(std::move(*units));
    return place;
  });
}

CFTypeID CFStringGetTypeID() {
  return kTypeString;
}

CFStringRef CFStringCreateWithCString(CFAllocatorRef allocator, const char* text, CFStringEncoding encoding) {
  if (text == nullptr || !containsAscii(encoding)) {
    return nullptr;
  }
  const auto bytes = asBytes(text);
  return CFStringCreateWithBytes(allocator, bytes.data(), static_cast<CFIndex>(bytes.size()), encoding,
                                 false);
}

CFStringRef CFStringCreateWithBytes(CFAllocatorRef /*allocator*/, const UInt8* bytes, CFIndex count,
                                    CFStringEncoding encoding, Boolean isExternalRepresentation) {
  if (count < 0 || (bytes == nullptr && count > 0)) {
    return nullptr;
  }
  return guarded([&]() -> CFStringRef {
    auto units =
        decodeText({bytes, static_cast<std::size_t>(count)}, encoding, isExternalRepresentation != 0);
    return units ? handOver<CFStringRef>(makeStringUtf16(std::move(*units))) : nullptr;
  });
}

CFIndex CFStringGetLength(CFStringRef string) {
  const auto* object = objectCast<String>(string);
  return object == nullptr ? 0 : static_cast<CFIndex>(object->length());
}

Boolean CFStringGetCString(CFStringRef string, char* buffer, CFIndex bufferSize, CFStringEncoding encoding) {
  if (buffer == nullptr || bufferSize <= 0) {
    return false;
  }
  buffer[0] = '\0';
  const auto* object = objectCast<String>(string);
  if (object == nullptr) {
    return false;
  }
  return guarded([&] {
    const auto encoded = encodeText(*object, encoding, static_cast<std::size_t>(bufferSize) - 1);
    std::memcpy(buffer, encoded.bytes.c_str(), encoded.bytes.size() + 1);
    return encoded.isComplete;
  });
}

const char* CFStringGetCStringPtr(CFStringRef string, CFStringEncoding encoding) {
  const auto* object = objectCast<String>(string);
  return object != nullptr && containsAscii(encoding) ? object->ascii() : nullptr;
}

CFIndex CFStringGetMaximumSizeForEncoding(CFIndex length, CFStringEncoding encoding) {
  // A UTF-16 unit is at most three bytes of UTF-8: the four-byte characters are two units.
  const CFIndex unitSize = encoding == kCFStringEncodingUTF8 ? 3 : encoding == kCFStringEncodingUTF16 ? 2 : 1;
  if (unitSize == 1 && !containsAscii(encoding)) {
    return 0;
  }
  return length > std::numeric_limits<CFIndex>::max() / unitSize ? CFIndex{kCFNotFound} : length * unitSize;
}

CFComparisonResult CFStringCompare(CFStringRef first, CFStringRef second, CFStringCompareFlags flags) {
  const auto* one = objectCast<String>(first);
  const auto* other = objectCast<String>(second);
  if (one == nullptr || other == nullptr) {
    return order(one != nullptr, other != nullptr);
  }
  return compare(*one, *other, (flags & kCFCompareCaseInsensitive) != 0);
}
