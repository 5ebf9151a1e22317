#pragma once

#include <string>
#include <string_view>

/** What canonical XML asks to be written in another way. */
enum class Escapes {
  kNone,
  kText,        // & < > and the carriage return
  kAttribute,   // & < " and tab, line feed, carriage return
  kLineEnds,    // the carriage return: data of processing instructions
};

/** Appends UTF-16 text to `out` as UTF-8, with the characters that the place forbids escaped. */
void appendUtf8(std::string& out, std::u16string_view text, Escapes escapes);
