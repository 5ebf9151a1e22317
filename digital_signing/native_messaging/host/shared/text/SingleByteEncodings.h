#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace vorn {

/** An encoding in which every byte is one character. */
struct SingleByteEncoding {
  std::string_view name; /**< ISO-8859-1 to -16 (there is no -12), windows-1250 to -1258 */
  /** The characters of the last bytes, up to 0xFF; all bytes before are the characters of their number.
   * U+FFFD where the encoding has none. */
  std::u16string_view upper;
};

/** The encoding with the name in any letter case; null if there is none. */
const SingleByteEncoding* singleByteEncodingNamed(std::string_view name);

/** The text in UTF-8; none when the encoding does not define one of its bytes. */
std::optional<std::string> utf8FromSingleBytes(std::string_view text, const SingleByteEncoding& encoding);

}  // namespace vorn
