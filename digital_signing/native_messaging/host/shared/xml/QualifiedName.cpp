#include "shared/xml/QualifiedName.h"

#include <xercesc/util/XMLChar.hpp>

#include "shared/text/Utf8.h"

namespace vorn {
namespace {

constexpr std::u16string_view kXmlnsNamespace = u"http://www.w3.org/2000/xmlns/";

}  // namespace

QualifiedName::QualifiedName(std::u16string_view name) : whole(name), local(name) {
  const std::size_t colon = name.find(u':');
  if (colon == std::u16string_view::npos || colon == 0 || colon + 1 == name.size()) return;
  prefix = name.substr(0, colon);
  local = name.substr(colon + 1);
}

bool QualifiedName::isWellFormed() const {
  if (prefix.empty()) return whole.find(u':') == std::u16string_view::npos;
  return local.find(u':') == std::u16string_view::npos &&
         (isHighSurrogate(local[0]) || xercesc::XMLChar1_0::isFirstNameChar(local[0]));
}

bool isForbiddenDeclaration(std::u16string_view prefix, std::u16string_view uri) {
  return prefix == u"xml" || prefix == u"xmlns" || uri == kXmlNamespace || uri == kXmlnsNamespace ||
         (uri.empty() && !prefix.empty());
}

}  // namespace vorn
