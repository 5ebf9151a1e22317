#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>

#include "CoreFoundation/CFObjects.h"
#include "CoreFoundation/CFString.h"

namespace vorn::frameworks {

/** The bytes as UTF-16 code units, by the rules of CFStringCreateWithBytes; nothing when they do not decode.
 */
std::optional<std::u16string> decodeText(std::span<const std::uint8_t> bytes, CFStringEncoding encoding,
                                         bool isExternal);

struct EncodedText {
  std::string bytes;
  /** False when a character has no form in the encoding or there was no room: `bytes` ends before it. */
  bool isComplete;
};

/** The text in an encoding other than UTF-16, in whole characters and at most `room` bytes. */
EncodedText encodeText(const String& text, CFStringEncoding encoding, std::size_t room);

}  // namespace vorn::frameworks
