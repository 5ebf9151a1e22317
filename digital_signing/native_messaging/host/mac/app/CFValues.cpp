#include "mac/app/CFValues.h"

#include "shared/text/Utf8.h"

namespace vorn {

CFIndex countOf(CFArrayRef array) {
  return array != nullptr ? CFArrayGetCount(array) : 0;
}

CFRef<CFStringRef> makeCFString(const std::string& utf8) {
  return CFRef<CFStringRef>::adopt(
      CFStringCreateWithBytes(kCFAllocatorDefault, reinterpret_cast<const UInt8*>(utf8.data()),
                              static_cast<CFIndex>(utf8.size()), kCFStringEncodingUTF8, false));
}

std::optional<std::string> utf8Text(CFStringRef string) {
  if (string == nullptr) return std::nullopt;
  const CFIndex length = CFStringGetLength(string);
  // Only ASCII can be lent out, so that units are bytes.
  if (const char* lent = CFStringGetCStringPtr(string, kCFStringEncodingUTF8); lent != nullptr)
    return std::string(lent, static_cast<std::size_t>(length));
  const CFIndex size = CFStringGetMaximumSizeForEncoding(length, kCFStringEncodingUTF8);
  if (size == kCFNotFound) return std::nullopt;
  // The byte FF is in no UTF-8 text: the last zero byte is the one that ends the
  // text, whatever zero bytes it holds.
  std::string text(static_cast<std::size_t>(size) + 1, '\xFF');
  if (!CFStringGetCString(string, text.data(), size + 1, kCFStringEncodingUTF8)) return std::nullopt;
  text.resize(text.rfind('\0'));
  return text;
}

std::optional<std::string> utf8TextWithin(CFStringRef string, std::size_t bufferSize) {
  std::optional<std::string> text = utf8Text(string);
  return text && text->size() < bufferSize ? text : std::nullopt;
}

std::string utf8TextCutTo(CFStringRef string, std::size_t bufferSize) {
  std::string text = utf8Text(string).value_or("");
  text.resize(cutUtf8(text, bufferSize - 1).size());
  return text;
}

}  // namespace vorn
