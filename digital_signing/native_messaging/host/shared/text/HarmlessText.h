#pragma once

#include <string>
#include <string_view>

namespace vorn {

/** A text from outside, for one line of a log or terminal: what would end the line, command the terminal,
 * turn the reading order around or not be seen at all is written out as "\x1b", "\u202e" or "\U000e0041".
 * These are control characters (C0, DEL, C1; a line feed too), line and paragraph separators, bidirectional
 * controls, invisible characters (of width zero, soft hyphens, fillers, tags, variation selectors), and, as
 * "\xff", bytes that are not UTF-8. All else stays, backslashes included. One pass over the text. The sample
 * extension shows the same characters by their numbers. */
std::string harmlessText(std::string_view text);

/** Whether harmlessText would return the text as it is. */
bool isHarmless(std::string_view text);

}  // namespace vorn
