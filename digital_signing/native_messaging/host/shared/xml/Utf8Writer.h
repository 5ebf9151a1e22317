#pragma once

#include <string>
#include <string_view>

namespace vorn {

/**
 * The characters that become references: the same in canonical XML and in a
 * document that reads back as it was.
 */
enum class Escapes {
  kNone,
  kText,       // & < > and the carriage return
  kAttribute,  // & < " and tab, line feed, carriage return
};

/** Appends UTF-16 text to `out` as UTF-8, with the characters that the place forbids escaped. */
void appendUtf8(std::string& out, std::u16string_view text, Escapes escapes);

}  // namespace vorn
