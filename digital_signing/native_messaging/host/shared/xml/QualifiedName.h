#pragma once

#include <string_view>
#include <xercesc/util/XercesDefs.hpp>

namespace vorn {

constexpr std::u16string_view kXmlNamespace = u"http://www.w3.org/XML/1998/namespace";

/** A name as written, split at its first colon. A colon at either end splits nothing. Borrows the text. */
struct QualifiedName {
  explicit QualifiedName(std::u16string_view name);

  /** xmlns or xmlns:prefix */
  bool isDeclaration() const { return prefix == u"xmlns" || whole == u"xmlns"; }
  std::u16string_view declaredPrefix() const { return prefix.empty() ? std::u16string_view() : local; }
  bool isXml() const { return prefix == u"xml"; }
  /** Whether it is one name, or two with a colon between them. */
  bool isWellFormed() const;

  std::u16string_view whole;
  std::u16string_view prefix;
  std::u16string_view local;
};

/** Whether the JDK bears a name, or one half of it, of this length. */
inline bool isLong(std::u16string_view name) {
  constexpr std::size_t kLongestOfJdk = 1000;
  return name.size() > kLongestOfJdk;
}

/**
 * Whether the name was one before XML's fifth edition let nearly all characters in, which the JDK, expat and
 * others never took up. It has to be a name of the fifth.
 */
bool isOfFourthEdition(std::u16string_view name);

/**
 * Declarations that declare nothing: of the two reserved prefixes and names, and of a prefix that stands for
 * no namespace. Parsers with namespace processing refuse them or, like the one of xmlsec, leave them out.
 */
bool isForbiddenDeclaration(std::u16string_view prefix, std::u16string_view uri);

}  // namespace vorn
