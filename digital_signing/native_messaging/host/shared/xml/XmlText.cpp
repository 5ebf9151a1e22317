#include "shared/xml/XmlText.h"

#include <xercesc/util/TransService.hpp>

#include "shared/text/Utf8.h"

namespace vorn {

std::string toUtf8(const XMLCh* text) {
  return toUtf8(viewOf(text));
}

std::string toUtf8(std::u16string_view text) {
  if (text.empty()) return {};
  const xercesc::TranscodeToStr converted(text.data(), text.size(), "UTF-8");
  return {reinterpret_cast<const char*>(converted.str()), converted.length()};
}

std::string excerptOf(std::u16string_view text) {
  constexpr std::size_t kLongest = 200;
  const std::string whole = toUtf8(text);
  return whole.size() > kLongest ? std::string(cutUtf8(whole, kLongest)) + "..." : whole;
}

std::u16string toUtf16(const std::string& text) {
  if (text.empty()) return {};
  const xercesc::TranscodeFromStr converted(reinterpret_cast<const XMLByte*>(text.data()), text.size(),
                                            "UTF-8");
  return {converted.str(), converted.length()};
}

}  // namespace vorn
