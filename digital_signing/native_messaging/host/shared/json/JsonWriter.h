#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "shared/json/jsonxx.h"

namespace jsonxx {

/** The exact writer: one item per line, indented by tabs, members in key order. */
class JsonWriter {
 public:
  std::string render(const Object& object);

  /** How many bytes a byte of a text is written as. */
  static std::size_t escapedSize(char byte);

 private:
  /** A container that is still open, and the items it has left; only the pair of its own kind is in use. */
  struct Open {
    bool isObject;
    Object::Members::const_iterator member, lastMember;
    Array::Elements::const_iterator element, lastElement;
  };

  void open(const Object& object);
  void open(const Array& array);
  void close();
  void writeValue(const Value& value);
  void writeQuoted(std::string_view text);
  void writeIndent() { text_.append(open_.size(), '\t'); }
  void replaceLastComma();

  std::string text_;
  std::vector<Open> open_;
};

/** Appends what an output stream of the classic locale with precision 19 would write. */
void appendNumber(std::string& text, long double number);

}  // namespace jsonxx
