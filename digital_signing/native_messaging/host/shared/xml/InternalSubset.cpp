#include "shared/xml/InternalSubset.h"

#include <algorithm>
#include <xercesc/util/PlatformUtils.hpp>

#include "shared/xml/XmlText.h"

namespace vorn {
namespace {

/** Between double quotes, with each of the `special` characters, and of those that XML 1.1 wants so, as a
 * reference. */
std::u16string quoted(std::u16string_view text, std::u16string_view special) {
  const auto needsReference = [&](char16_t c) {
    return (c < 0x20 && c != u'\t' && c != u'\n') || (c >= 0x7F && c < 0xA0) || c == 0x2028 ||
           special.find(c) != std::u16string_view::npos;
  };
  std::u16string result = u"\"";
  while (true) {
    const auto next = std::find_if(text.begin(), text.end(), needsReference);
    result.append(text.begin(), next);
    if (next == text.end()) return result + u"\"";
    result.append(u"&#").append(toUtf16(std::to_string(static_cast<unsigned>(*next)))).append(u";");
    text.remove_prefix(static_cast<std::size_t>(next - text.begin()) + 1);
  }
}

/** Between quotes that are not in it: it cannot hold both kinds. */
std::u16string systemLiteral(const XMLCh* systemId) {
  const std::u16string_view text = viewOf(systemId);
  const char16_t quote = text.find(u'"') == std::u16string_view::npos ? u'"' : u'\'';
  return quote + std::u16string(text) + quote;
}

std::u16string externalIdText(const XMLCh* publicId, const XMLCh* systemId) {
  std::u16string text;
  if (publicId != nullptr) text.append(u" PUBLIC ").append(quoted(publicId, u""));
  if (systemId != nullptr)
    text.append(publicId == nullptr ? u" SYSTEM " : u" ").append(systemLiteral(systemId));
  return text;
}

}  // namespace

std::u16string entityDeclarationText(const xercesc::DTDEntityDecl& declaration) {
  std::u16string text = u"<!ENTITY ";
  text += declaration.getName();
  text += externalIdText(declaration.getPublicId(), declaration.getSystemId());
  if (!viewOf(declaration.getNotationName()).empty()) {
    text += u" NDATA ";
    text += declaration.getNotationName();
  }
  if (!declaration.isExternal()) {
    // The value that is kept is the replacement text: one more reading of it must not expand anything in it.
    text.append(u" ").append(quoted(viewOf(declaration.getValue()), u"&%\""));
  }
  return text + u">";
}

std::u16string notationDeclarationText(const xercesc::XMLNotationDecl& declaration) {
  std::u16string text = u"<!NOTATION ";
  text += declaration.getName();
  const std::u16string id = externalIdText(declaration.getPublicId(), declaration.getSystemId());
  // An address that is empty is not kept at all.
  return text + (id.empty() ? u" SYSTEM \"\"" : id) + u">";
}

std::u16string attributeDefinitionText(const xercesc::DTDAttDef& attribute) {
  using xercesc::XMLAttDef;
  std::u16string text(attribute.getFullName());
  text += u" ";
  const XMLAttDef::AttTypes type = attribute.getType();
  if (type == XMLAttDef::Notation || type == XMLAttDef::Enumeration) {
    std::u16string names(viewOf(attribute.getEnumeration()));
    for (char16_t& c : names)
      if (c == u' ') c = u'|';
    text.append(type == XMLAttDef::Notation ? u"NOTATION (" : u"(").append(names).append(u")");
  } else {
    text += XMLAttDef::getAttTypeString(type, xercesc::XMLPlatformUtils::fgMemoryManager);
  }
  const XMLAttDef::DefAttTypes kind = attribute.getDefaultType();
  if (kind == XMLAttDef::Required) text += u" #REQUIRED";
  if (kind == XMLAttDef::Implied) text += u" #IMPLIED";
  if (kind == XMLAttDef::Fixed) text += u" #FIXED";
  if (attribute.getValue() != nullptr) text.append(u" ").append(quoted(attribute.getValue(), u"&<\"\t\n"));
  return text;
}

void InternalSubset::keep() {
  text_.append(libraryText_.getRawBuffer() + taken_);
  taken_ = libraryText_.getLen();
}

void InternalSubset::replace(const std::u16string& text) {
  taken_ = libraryText_.getLen();
  text_ += text;
}

}  // namespace vorn
