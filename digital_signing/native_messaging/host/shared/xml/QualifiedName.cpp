#include "shared/xml/QualifiedName.h"

#include <algorithm>

namespace vorn {
namespace {

constexpr std::u16string_view kXmlnsNamespace = u"http://www.w3.org/2000/xmlns/";

bool isLetter(char16_t c) {
  return (c >= u'a' && c <= u'z') || (c >= u'A' && c <= u'Z');
}

}  // namespace

QualifiedName::QualifiedName(std::u16string_view name) : whole(name), local(name) {
  const std::size_t colon = name.find(u':');
  if (colon == std::u16string_view::npos || colon == 0 || colon + 1 == name.size()) return;
  prefix = name.substr(0, colon);
  local = name.substr(colon + 1);
}

bool isForbiddenDeclaration(std::u16string_view prefix, std::u16string_view uri) {
  return prefix == u"xml" || prefix == u"xmlns" || uri == kXmlNamespace || uri == kXmlnsNamespace ||
         (uri.empty() && !prefix.empty());
}

bool isRelativeUri(std::u16string_view uri) {
  if (uri.empty()) return false;
  const std::size_t colon = uri.find(u':');
  return colon == std::u16string_view::npos || !isLetter(uri[0]) ||
         !std::all_of(uri.begin(), uri.begin() + static_cast<std::ptrdiff_t>(colon), [](char16_t c) {
           return isLetter(c) || (c >= u'0' && c <= u'9') || c == u'+' || c == u'-' || c == u'.';
         });
}

}  // namespace vorn
