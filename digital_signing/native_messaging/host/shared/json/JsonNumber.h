#pragma once

#include <string>

/**
 * Numbers as the classic locale's streams read and write them, whatever locale the process or
 * its libraries set.
 */
namespace jsonxx {

/**
 * Reads from `begin` what an input stream would extract as a `long double`. Returns where the extraction
 * stopped, or null when it failed; an overflow fails, leading whitespace is not skipped.
 */
const char* readNumber(const char* begin, const char* end, long double& number);

/** Appends what an output stream of precision 19 would write. */
void appendNumber(std::string& text, long double number);

}  // namespace jsonxx
