#pragma once

#include <string>
#include <string_view>

/** Whether the text is well-formed UTF-8: no surrogates, no overlong forms, nothing above U+10FFFF. */
bool isValidUtf8(std::string_view text);

/**
 * The text with U+FFFD in place of each ill-formed sequence: each longest start of a well-formed sequence
 * counts as one, and so does each other byte. A valid text comes back as it is, moved and not copied.
 */
std::string replaceInvalidUtf8(std::string text);
