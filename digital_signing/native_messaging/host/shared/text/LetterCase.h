#pragma once

#include <algorithm>
#include <string>

namespace vorn {

/** An ASCII letter in lower case; any other byte as it is, whatever the locale. */
constexpr char asciiLowerCase(char c) {
  return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

inline std::string asciiLowerCase(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(), [](char c) { return asciiLowerCase(c); });
  return text;
}

}  // namespace vorn
