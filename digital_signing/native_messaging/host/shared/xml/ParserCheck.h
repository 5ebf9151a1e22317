#pragma once

namespace vorn {

class ParserMemory;

/**
 * Parses a small document in the memory, and throws a TechnicalException unless the memory counts the
 * expansions in it. How they are known is private to the XML library: with another release of it the bound on
 * them could be gone without a word. The memory is of no further use.
 */
void requireCountedExpansions(ParserMemory& memory);

}  // namespace vorn
