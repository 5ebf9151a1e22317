#include "shared/json/JsonReader.h"

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <cstring>
#include <ios>
#include <locale>

namespace jsonxx {
namespace {

bool isSpace(char c) {
  return c == ' ' || (c >= '\t' && c <= '\r');
}

const char* findByte(const char* begin, const char* end, char byte) {
  if (begin == end) return end;
  const void* found = std::memchr(begin, byte, static_cast<std::size_t>(end - begin));
  return found == nullptr ? end : static_cast<const char*>(found);
}

/** Reads a decimal int of few characters as a stream would. False when there is no number. */
bool extractInteger(const char* begin, const char* end, int& integer) {
  begin = std::find_if_not(begin, end, isSpace);
  const bool plus = begin != end && *begin == '+';
  if (plus && end - begin > 1 && begin[1] == '-') return false;
  return std::from_chars(plus ? begin + 1 : begin, end, integer).ec == std::errc();
}

// The streams' own facet, run on plain pointers: its results are the streams' results by construction,
// without a stream for each number. Deriving opens the protected destructor.
class Extraction : public std::num_get<char, const char*> {};

/** Lends the facet the flags, precision and locale of a stream; it has no characters of its own. */
struct ExtractionRules : std::ios {
  ExtractionRules() : std::ios(nullptr) { imbue(std::locale::classic()); }
};

/** What values of other kinds and ends of containers start with; none of it starts a number in any library.
 */
constexpr std::string_view kOtherStarts = "[]{},tf";

/** What ends a number in every library. Other characters may belong to it: "0x10" is 0 or 16, as
 * the library goes. */
bool endsNumber(char c) {
  constexpr std::string_view kEnds = ",]}/ \t\n\v\f\r";
  return kEnds.find(c) != std::string_view::npos;
}

/** The common case, a short run of digits: null when the text is, or may go on as, anything else. */
const char* readPlainInteger(const char* begin, const char* end, long double& number) {
  std::int64_t integer = 0;
  const auto [stop, fault] = std::from_chars(begin, end, integer);
  if (fault != std::errc() || (stop != end && !endsNumber(*stop))) return nullptr;
  number = static_cast<long double>(integer);
  if (integer == 0 && *begin == '-') number = -number;
  return stop;
}

}  // namespace

const char* readNumber(const char* begin, const char* end, long double& number) {
  if (begin == end || kOtherStarts.find(*begin) != std::string_view::npos) return nullptr;
  if (const char* stop = readPlainInteger(begin, end, number)) return stop;
  static const Extraction extraction;
  static ExtractionRules rules;
  std::ios::iostate state = std::ios::goodbit;
  const char* const stop = extraction.get(begin, end, rules, state, number);
  return (state & std::ios::failbit) != 0 ? nullptr : stop;
}

bool JsonReader::readObject(Object& result) {
  open_.push_back(std::make_unique<Value>(Object()));
  Step step = openObject(*open_.back());
  while (step == Step::ReadItem || open_.size() > 1)
    step = step == Step::ReadItem ? readItem() : finishItem(step == Step::Succeeded);
  result = std::move(open_.back()->get<Object>());
  return step == Step::Succeeded;
}

/** Starts the next member or element of the innermost container. */
JsonReader::Step JsonReader::readItem() {
  Value& container = *open_.back();
  if (container.is<Object>()) {
    String key;
    if (!readString(key)) return nextIs('}') ? closeContainer(container) : Step::Failed;
    if (!match(":")) return Step::Failed;
    keys_.push_back(std::move(key));
  }
  open_.push_back(std::make_unique<Value>());
  return readValue(*open_.back());
}

/** Tries the kinds in order. Each starts where the one before it stopped, which need not be where that one
 * started: whitespace and comments that were passed stay passed. */
JsonReader::Step JsonReader::readValue(Value& value) {
  String text;
  if (readString(text)) {
    value.import(std::move(text));
    return Step::Succeeded;
  }
  skipWhitespace();
  Number number = 0;
  if (const char* stop = readNumber(at_, end_, number)) {
    at_ = stop;
    value.import(number);
    return Step::Succeeded;
  }
  if (match("true")) {
    value.import(true);
    return Step::Succeeded;
  }
  if (match("false")) {
    value.import(false);
    return Step::Succeeded;
  }
  if (match("null") || nextIs(',')) {
    value.import(Null());
    return Step::Succeeded;
  }
  return nextIs('[') ? openArray(value) : openObject(value);
}

JsonReader::Step JsonReader::openArray(Value& value) {
  match("[");
  value.import(Array());
  return match("]") ? Step::Succeeded : Step::ReadItem;
}

JsonReader::Step JsonReader::openObject(Value& value) {
  if (!match("{")) return Step::Failed;
  value.import(Object());
  return match("}") ? Step::Succeeded : Step::ReadItem;
}

/** Gives the value that is complete, or has failed, to its container or to nobody. */
JsonReader::Step JsonReader::finishItem(bool succeeded) {
  std::unique_ptr<Value> item = std::move(open_.back());
  open_.pop_back();
  Value& container = *open_.back();
  if (container.is<Array>()) {
    if (succeeded) container.get<Array>().append(std::move(item));
  } else {
    if (succeeded) container.get<Object>().store(std::move(keys_.back()), std::move(item));
    keys_.pop_back();
  }
  if (succeeded && match(",")) return Step::ReadItem;
  return closeContainer(container);
}

JsonReader::Step JsonReader::closeContainer(Value& container) {
  if (container.is<Object>()) return match("}") ? Step::Succeeded : Step::Failed;
  if (match("]")) return Step::Succeeded;
  // A value that is no array may still be an object, and that is looked for where the array broke off.
  return openObject(container);
}

bool JsonReader::readString(String& text) {
  char delimiter = '"';
  if (!match("\"")) {
    delimiter = '\'';
    if (!nextIs(delimiter)) return false;
    ++at_;
  }
  // Neither search starts again before its last find is passed: the whole costs one pass,
  // however many escapes.
  const char* close = findByte(at_, end_, delimiter);
  for (;;) {
    const char* escape = findByte(at_, close, '\\');
    if (escape != close && text.empty()) text.reserve(static_cast<std::size_t>(close - at_));
    text.append(at_, escape);
    at_ = escape;
    if (escape == close) break;
    ++at_;
    readEscape(text, delimiter);
    if (at_ > close) close = findByte(at_, end_, delimiter);
  }
  if (at_ == end_) return false;
  ++at_;
  return true;
}

/** Reads what follows a backslash. */
void JsonReader::readEscape(String& text, char delimiter) {
  if (at_ == end_) {
    text += '\\';
    return;
  }
  const char c = *at_++;
  constexpr std::string_view kNames = "nrtfb/\\", kMeanings = "\n\r\t\f\b/\\";
  if (const std::size_t place = kNames.find(c); place != std::string_view::npos) {
    text += kMeanings[place];
  } else if (c == 'u') {
    readByteEscape(text);
  } else {
    if (c != delimiter) text += '\\';
    text += c;
  }
}

/** Four characters stand for one byte, and they are read as a decimal integer. Callers of the protocol know
 * this reading, so it stays; characters beyond ASCII have to come as UTF-8. */
void JsonReader::readByteEscape(String& text) {
  const auto length = std::min<std::ptrdiff_t>(4, end_ - at_);
  const char* const begin = at_;
  at_ += length;
  int integer = 0;
  if (length == 4 && extractInteger(begin, at_, integer)) text += static_cast<char>(integer & 0xff);
}

/** Passes whitespace, then the pattern; a comment may stand before any of the pattern's characters. On
 * failure the input is at the pattern's first character, or at what stands in its place. */
bool JsonReader::match(std::string_view pattern) {
  skipWhitespace();
  const char* first = at_;
  for (std::size_t matched = 0; matched < pattern.size();) {
    if (nextIs(pattern[matched])) {
      if (matched == 0) first = at_;
      ++at_;
      ++matched;
    } else if (!skipComment()) {
      if (matched != 0) at_ = first;
      return false;
    }
  }
  return true;
}

/** Passes a line comment and the whitespace after it. A slash by itself is no comment. */
bool JsonReader::skipComment() {
  if (end_ - at_ < 2 || at_[0] != '/' || at_[1] != '/') return false;
  at_ = std::find_if(at_, end_, [](char c) { return c == '\r' || c == '\n'; });
  skipWhitespace();
  return true;
}

void JsonReader::skipWhitespace() {
  while (at_ != end_ && isSpace(*at_)) ++at_;
}

}  // namespace jsonxx
