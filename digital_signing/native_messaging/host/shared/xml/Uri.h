#pragma once

#include <string_view>

namespace vorn {

/**
 * Whether libxml2, and what is built on it, takes the text for a URI with a scheme: by RFC 3986, but that a
 * port has digits, and a fragment may have brackets.
 */
bool isAbsoluteUri(std::u16string_view text);

}  // namespace vorn
