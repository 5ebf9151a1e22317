#pragma once

namespace vorn {

class ParserMemory;

/** Starts what documents are read, signed and verified by, once for the process. Throws a TechnicalException
 * when it does not start, or does not bound what a document may cost. */
void startXmlLibraries();

/** Stops it, for good. */
void stopXmlLibraries();

/** Parses a small document in the memory, and throws a TechnicalException unless the memory counts the
 * expansions in it. How they are known is private to the XML library: with another release of it the bound on
 * them could be gone without a word. The memory is of no further use. */
void requireCountedExpansions(ParserMemory& memory);

}  // namespace vorn
