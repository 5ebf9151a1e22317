#pragma once

#include <string>

/**
 * The reading rules once more, in the plainest form: recursive, on a standard input stream, number by number.
 * Slow, and there to be compared with.
 */
struct StreamReading {
  bool complete;
  /** What the members that were read render as. */
  std::string json;
};

StreamReading readFromStream(const std::string& text);
