#include "shared/xml/Uri.h"

#include <algorithm>

namespace vorn {
namespace {

bool isLetter(char16_t c) {
  return (c >= u'a' && c <= u'z') || (c >= u'A' && c <= u'Z');
}

bool isDigit(char16_t c) {
  return c >= u'0' && c <= u'9';
}

bool isHexDigit(char16_t c) {
  return isDigit(c) || (c >= u'a' && c <= u'f') || (c >= u'A' && c <= u'F');
}

/** Letters, digits, what is in `others`, and escapes like %2F. */
bool isMadeOf(std::u16string_view text, std::u16string_view others) {
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (isLetter(text[i]) || isDigit(text[i]) || others.find(text[i]) != std::u16string_view::npos) continue;
    if (text[i] != u'%' || i + 2 >= text.size() || !isHexDigit(text[i + 1]) || !isHexDigit(text[i + 2]))
      return false;
    i += 2;
  }
  return true;
}

/** The text before the first of the characters, which is taken off `rest` with them. */
std::u16string_view takeUntil(std::u16string_view& rest, std::u16string_view ends) {
  const std::u16string_view taken = rest.substr(0, rest.find_first_of(ends));
  rest.remove_prefix(taken.size());
  return taken;
}

bool isScheme(std::u16string_view text) {
  return !text.empty() && isLetter(text[0]) && std::all_of(text.begin(), text.end(), [](char16_t c) {
    return isLetter(c) || isDigit(c) || c == u'+' || c == u'-' || c == u'.';
  });
}

constexpr std::u16string_view kNameCharacters = u"-._~!$&'()*+,;=";

bool isAuthority(std::u16string_view text) {
  if (const std::size_t at = text.find(u'@'); at != std::u16string_view::npos) {
    if (!isMadeOf(text.substr(0, at), u"-._~!$&'()*+,;=:")) return false;
    text.remove_prefix(at + 1);
  }
  const bool isLiteral = text.starts_with(u'[');
  const std::size_t end = isLiteral ? text.find(u']') : text.find(u':');
  if (isLiteral && end == std::u16string_view::npos) return false;
  const std::u16string_view host = text.substr(isLiteral ? 1 : 0, isLiteral ? end - 1 : end);
  if (!isMadeOf(host, isLiteral ? u"-._~!$&'()*+,;=:" : kNameCharacters)) return false;
  text.remove_prefix(isLiteral ? end + 1 : std::min(end, text.size()));
  // libxml2 reads a port into 31 bits; nine digits always fit.
  constexpr std::size_t kLongestPort = 9;
  return text.empty() || (text[0] == u':' && text.size() > 1 && text.size() - 1 <= kLongestPort &&
                          std::all_of(text.begin() + 1, text.end(), isDigit));
}

}  // namespace

bool isAbsoluteUri(std::u16string_view text) {
  const std::size_t colon = text.find(u':');
  if (colon == std::u16string_view::npos || !isScheme(text.substr(0, colon))) return false;
  text.remove_prefix(colon + 1);
  if (text.starts_with(u"//")) {
    text.remove_prefix(2);
    if (!isAuthority(takeUntil(text, u"/?#"))) return false;
  }
  constexpr std::u16string_view kPathCharacters = u"-._~!$&'()*+,;=:@/";
  constexpr std::u16string_view kQueryCharacters = u"-._~!$&'()*+,;=:@/?";
  if (!isMadeOf(takeUntil(text, u"?#"), kPathCharacters)) return false;
  if (text.starts_with(u'?') && !isMadeOf(takeUntil(text, u"#").substr(1), kQueryCharacters)) return false;
  constexpr std::u16string_view kFragmentCharacters = u"-._~!$&'()*+,;=:@/?[]";
  return text.empty() || isMadeOf(text.substr(1), kFragmentCharacters);
}

}  // namespace vorn
