#pragma once

#include <string>
#include <string_view>

namespace vorn {

/** The characters that become references. */
enum class Escapes {
  kNone,
  // In canonical XML.
  kText,       // & < > and the carriage return
  kAttribute,  // & < " and tab, line feed, carriage return
  // In a document: also U+0085 and U+2028, which some parsers take for line ends.
  kDocumentText,
  kDocumentAttribute,
};

/** Appends UTF-16 text to `out` as UTF-8, with the characters that the place forbids escaped. */
void appendUtf8(std::string& out, std::u16string_view text, Escapes escapes);

}  // namespace vorn
