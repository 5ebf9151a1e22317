#include "shared/xml/DocumentEncoding.h"

#include <algorithm>
#include <utility>

#include "shared/base/Exceptions.h"
#include "shared/text/LetterCase.h"
#include "shared/text/SingleByteEncodings.h"
#include "shared/text/Utf8.h"

namespace vorn {
namespace {

using namespace std::string_view_literals;

// No encoding has a longer name; the message need not repeat all of what a page thinks of.
constexpr std::size_t kLongestName = 100;

constexpr std::string_view kBlanks = " \t\r\n";

std::string_view withoutBlanks(std::string_view text) {
  return text.substr(std::min(text.find_first_not_of(kBlanks), text.size()));
}

/** The value of "encoding" in an XML declaration; empty without one, or where the parser will not read it. */
std::string_view declaredEncoding(std::string_view text) {
  constexpr auto kStart = "<?xml"sv;
  if (!text.starts_with(kStart)) return {};
  text = text.substr(kStart.size(), text.find("?>") - kStart.size());
  while (true) {
    text = withoutBlanks(text);
    const std::string_view name = text.substr(0, text.find_first_of(" \t\r\n="));
    text = withoutBlanks(text.substr(name.size()));
    if (name.empty() || !text.starts_with('=')) return {};
    text = withoutBlanks(text.substr(1));
    if (text.empty() || (text[0] != '"' && text[0] != '\'')) return {};
    const std::size_t end = text.find(text[0], 1);
    if (end == std::string_view::npos) return {};
    if (name == "encoding") return text.substr(1, std::min(end - 1, kLongestName));
    text.remove_prefix(end + 1);
  }
}

char16_t unitAt(std::string_view text, std::size_t at, bool isBigEndian) {
  const auto first = static_cast<unsigned char>(text[at]);
  const auto second = static_cast<unsigned char>(text[at + 1]);
  return static_cast<char16_t>(isBigEndian ? first << 8 | second : second << 8 | first);
}

/** The beginning of UTF-16 text up to the end of an XML declaration, with "?" for what is not ASCII. */
std::string asciiStart(std::string_view text, bool isBigEndian) {
  std::string start;
  for (std::size_t at = 0; at + 1 < text.size() && !start.ends_with("?>"); at += 2) {
    const char16_t unit = unitAt(text, at, isBigEndian);
    start += unit < 0x80 ? static_cast<char>(unit) : '?';
    if (start.size() == 5 && start != "<?xml") return {};
  }
  return start;
}

[[noreturn]] void refuse(const std::string& name) {
  throw XMLDataParsingException("Request XML data is in an encoding that is not accepted: " + name);
}

[[noreturn]] void refuseBytes(const std::string& encoding) {
  throw XMLDataParsingException("Request XML data is not valid " + encoding);
}

bool isValidUtf16(std::string_view text, bool isBigEndian) {
  for (std::size_t at = 0; at + 1 < text.size(); at += 2) {
    const char16_t unit = unitAt(text, at, isBigEndian);
    if (isLowSurrogate(unit)) return false;
    if (!isHighSurrogate(unit)) continue;
    at += 2;
    if (at + 1 >= text.size() || !isLowSurrogate(unitAt(text, at, isBigEndian))) return false;
  }
  return true;
}

/** What browsers take the encoding for, which has other characters from 0x80 to 0x9F; null if they do not. */
const char* shownInstead(std::string_view name) {
  if (name == "iso-8859-1") return "windows-1252";
  if (name == "iso-8859-9") return "windows-1254";
  return name == "iso-8859-11" ? "windows-874" : nullptr;
}

bool holdsControls(std::string_view text) {
  return std::any_of(text.begin(), text.end(), [](char byte) { return (byte & 0xE0) == 0x80; });
}

}  // namespace

DocumentEncoding::DocumentEncoding(std::string_view bytes) {
  findForm(bytes);
  const std::string_view start = bytes.substr(markSize_);
  declared_ = form_ == Form::kBytes ? declaredEncoding(start)
                                    : declaredEncoding(asciiStart(start, form_ == Form::kBigEndian));
  if (text_.size() % unit() != 0) throw XMLDataParsingException("Request XML data ends within a character");
  acceptDeclared();
}

/** By the first bytes: a byte order mark, or "<" beside a zero byte. */
void DocumentEncoding::findForm(std::string_view bytes) {
  for (const auto start : {"\0\0\xFE\xFF"sv, "\xFF\xFE\0\0"sv, "\0\0\0<"sv, "<\0\0\0"sv})
    if (bytes.starts_with(start)) refuse("UTF-32");
  if (bytes.starts_with("\x4C\x6F\xA7\x94"sv)) refuse("EBCDIC");
  const std::pair<std::string_view, Form> marks[] = {{"\xEF\xBB\xBF"sv, Form::kBytes},
                                                     {"\xFF\xFE"sv, Form::kLittleEndian},
                                                     {"\xFE\xFF"sv, Form::kBigEndian}};
  text_ = bytes;
  for (const auto& [mark, form] : marks) {
    if (!bytes.starts_with(mark)) continue;
    markSize_ = mark.size();
    form_ = form;
  }
  if (bytes.starts_with("<\0"sv)) form_ = Form::kLittleEndian;
  if (bytes.starts_with("\0<"sv)) form_ = Form::kBigEndian;
}

void DocumentEncoding::acceptDeclared() {
  const std::string name = asciiLowerCase(declared_);
  if (form_ == Form::kBytes) return acceptBytes();
  if (name.empty() && markSize_ == 0) refuse("UTF-16, without a byte order mark or declaration");
  const std::string own = form_ == Form::kBigEndian ? "utf-16be" : "utf-16le";
  if (!name.empty() && name != "utf-16" && name != own) contradict("UTF-16");
}

void DocumentEncoding::acceptBytes() {
  const std::string name = asciiLowerCase(declared_);
  if (name.empty() || name == "utf-8") return;
  const SingleByteEncoding* const single = singleByteEncodingNamed(name);
  const bool isAscii = name == "us-ascii";
  const bool isWide = name == "utf-16" || name == "utf-16le" || name == "utf-16be";
  if (single == nullptr && !isAscii && !isWide) refuse(declared_);
  if (markSize_ != 0 || isWide) contradict("UTF-8");
  if (isAscii) {
    const bool isValid =
        std::all_of(text_.begin(), text_.end(), [](char byte) { return (byte & 0x80) == 0; });
    if (!isValid) refuseBytes(declared_);
    return;
  }
  if (const char* const shown = shownInstead(name); shown != nullptr && holdsControls(text_)) {
    throw XMLDataParsingException("Request XML data holds characters of " + std::string(shown) +
                                  ", but declares the encoding '" + declared_ + "'");
  }
  std::optional<std::string> converted = utf8FromSingleBytes(text_, *single);
  if (!converted) refuseBytes(declared_);
  converted_ = std::move(*converted);
  text_ = converted_;
}

void DocumentEncoding::contradict(const char* actual) const {
  throw XMLDataParsingException(std::string("Request XML data is in ") + actual +
                                ", but declares the encoding '" + declared_ + "'");
}

const XMLCh* DocumentEncoding::name() const {
  if (form_ == Form::kBytes) return u"UTF-8";
  return form_ == Form::kBigEndian ? u"UTF-16BE" : u"UTF-16LE";
}

void DocumentEncoding::requireCharacters() const {
  const bool isValid =
      form_ == Form::kBytes ? isValidUtf8(text_) : isValidUtf16(text_, form_ == Form::kBigEndian);
  if (!isValid) refuseBytes(unit() == 1 ? "UTF-8" : "UTF-16");
}

}  // namespace vorn
