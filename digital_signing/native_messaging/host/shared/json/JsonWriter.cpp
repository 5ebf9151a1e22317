#include "shared/json/JsonWriter.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <ios>
#include <locale>

namespace jsonxx {
namespace {

/** How each byte is written. */
struct EscapeText {
  char text[7];
  unsigned char length;

  bool isByteItself() const { return length == 1; }
};

using EscapeTable = std::array<EscapeText, 256>;

EscapeTable makeEscapeTable() {
  EscapeTable table = {};
  const auto set = [&table](unsigned byte, std::string_view text) {
    EscapeText& entry = table[byte];
    entry.length = static_cast<unsigned char>(text.copy(entry.text, sizeof(entry.text)));
  };
  for (unsigned byte = 0; byte < 32; ++byte) {
    char text[sizeof("\\u0000")];
    std::snprintf(text, sizeof(text), "\\u%04x", byte);
    set(byte, text);
  }
  for (unsigned byte = 32; byte < 256; ++byte) {
    const char itself = static_cast<char>(byte);
    set(byte, {&itself, 1});
  }
  constexpr std::string_view kBytes = "\"\\/\b\f\n\r\t", kNames = "\"\\/bfnrt";
  for (std::size_t i = 0; i < kBytes.size(); ++i) {
    const char escape[] = {'\\', kNames[i]};
    set(static_cast<unsigned char>(kBytes[i]), {escape, sizeof escape});
  }
  return table;
}

const EscapeTable& escapeTable() {
  static const EscapeTable table = makeEscapeTable();
  return table;
}

// The streams' own facet, as in the reader.
class Insertion : public std::num_put<char, char*> {};

/** Lends the facet the flags, precision and locale of a stream; it has no characters of its own. */
struct InsertionRules : std::ios {
  InsertionRules() : std::ios(nullptr) {
    imbue(std::locale::classic());
    precision(19);
  }
};

/** Integers below it fit 64 bits, and are written out in full with precision 19. */
constexpr long double kPlainLimit = 1e18L;

}  // namespace

void appendNumber(std::string& text, long double number) {
  char buffer[64];
  if (number > -kPlainLimit && number < kPlainLimit) {
    const auto integer = static_cast<std::int64_t>(number);
    const bool negativeZero = integer == 0 && std::signbit(number);
    if (static_cast<long double>(integer) == number && !negativeZero) {
      text.append(buffer, std::to_chars(buffer, buffer + sizeof(buffer), integer).ptr);
      return;
    }
  }
  static const Insertion insertion;
  static InsertionRules rules;
  // At most a sign, 19 digits, a point, four zeros after it or an exponent: the buffer holds any number.
  text.append(buffer, insertion.put(buffer, rules, ' ', number));
}

std::string JsonWriter::render(const Object& object) {
  open(object);
  while (!open_.empty()) {
    Open& innermost = open_.back();
    if (innermost.isObject && innermost.member != innermost.lastMember) {
      const auto& [name, value] = *innermost.member++;
      writeIndent();
      // A member without a name is written as an element would be.
      if (!name.empty()) {
        writeQuoted(name);
        text_ += ": ";
      }
      writeValue(*value);
    } else if (!innermost.isObject && innermost.element != innermost.lastElement) {
      const Value& value = **innermost.element++;
      writeIndent();
      writeValue(value);
    } else {
      close();
    }
  }
  replaceLastComma();
  return std::move(text_);
}

std::size_t JsonWriter::escapedSize(char byte) {
  return escapeTable()[static_cast<unsigned char>(byte)].length;
}

void JsonWriter::open(const Object& object) {
  text_ += "{\n";
  open_.push_back({true, object.members().begin(), object.members().end(), {}, {}});
}

void JsonWriter::open(const Array& array) {
  text_ += "[\n";
  open_.push_back({false, {}, {}, array.elements().begin(), array.elements().end()});
}

void JsonWriter::close() {
  const bool isObject = open_.back().isObject;
  open_.pop_back();
  replaceLastComma();
  writeIndent();
  text_ += isObject ? "},\n" : "],\n";
}

void JsonWriter::writeValue(const Value& value) {
  switch (value.kind()) {
    case Kind::kNumber:
      appendNumber(text_, value.get<Number>());
      break;
    case Kind::kString:
      writeQuoted(value.get<String>());
      break;
    case Kind::kBoolean:
      text_ += value.get<Boolean>() ? "true" : "false";
      break;
    case Kind::kArray:
      return open(value.get<Array>());
    case Kind::kObject:
      return open(value.get<Object>());
    case Kind::kNull:
    case Kind::kInvalid:
      text_ += "null";
  }
  text_ += ",\n";
}

void JsonWriter::writeQuoted(std::string_view text) {
  const std::size_t room = text_.size() + 2 * text.size() + 2;
  if (room > text_.capacity()) text_.reserve(std::max(room, 2 * text_.capacity()));
  const EscapeTable& table = escapeTable();
  const auto escapeOf = [&table](char c) -> const EscapeText& {
    return table[static_cast<unsigned char>(c)];
  };
  text_ += '"';
  const char* const end = text.data() + text.size();
  for (const char* at = text.data(); at != end;) {
    const char* const special = std::find_if_not(at, end, [&](char c) { return escapeOf(c).isByteItself(); });
    text_.append(at, special);
    at = special;
    if (at == end) break;
    const EscapeText& escape = escapeOf(*at++);
    text_.append(escape.text, escape.length);
  }
  text_ += '"';
}

/** After the last item of a container a space stands for the comma; a container without items has none. */
void JsonWriter::replaceLastComma() {
  if (text_.size() > 2 && text_[text_.size() - 2] == ',') text_[text_.size() - 2] = ' ';
}

}  // namespace jsonxx
