#pragma once

#include <string>
#include <string_view>
#include <xercesc/util/XercesDefs.hpp>

namespace vorn {

/**
 * Text between the UTF-16 of the XML libraries and the UTF-8 of everything
 * else. A null pointer is an empty text.
 */
std::string toUtf8(const XMLCh* text);
std::string toUtf8(std::u16string_view text);
std::u16string toUtf16(const std::string& text);

/** The same for a message, which need not repeat the whole of a long text. */
std::string excerptOf(std::u16string_view text);

/** A view of a zero-ended text of the XML libraries; empty for a null pointer. */
inline std::u16string_view viewOf(const XMLCh* text) {
  return text != nullptr ? std::u16string_view(text) : std::u16string_view();
}

}  // namespace vorn
