#pragma once

#include <string_view>

/**
 * Behind the root element the parser takes a character U+0000, or bytes that make no character, for the end
 * of the document, and drops what follows without a word. These two see to it that nothing is signed that a
 * parser of the receiver's would read differently. Both throw XMLDataParsingException.
 */

/** Before parsing: the bytes are whole characters of one, two or four bytes, none of which is zero. */
void requireNoZeroCharacter(std::string_view bytes);

/** After parsing, of a document that the parser read as UTF-8. */
void requireUtf8(std::string_view bytes);
