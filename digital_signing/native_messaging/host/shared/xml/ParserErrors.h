#pragma once

#include <optional>
#include <string>

namespace vorn {

/**
 * To be called in a catch block: what the XML parser had against the document, with line and
 * column, if the exception being handled is one of the parser's; nothing for any other
 * exception, which stays the one being handled.
 */
std::optional<std::string> describeParserException();

}  // namespace vorn
