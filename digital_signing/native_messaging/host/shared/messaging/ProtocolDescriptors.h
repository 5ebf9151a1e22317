#pragma once

#include <string_view>

namespace vorn {

/** The browser's two pipes. */
struct ProtocolDescriptors {
  int input;
  int output;

  /** Writes all the bytes to the output, which may be set not to block, waiting as long as the reader takes.
   * Throws OutputClosedException when the reader has gone; allocates nothing. */
  void write(std::string_view bytes) const;
};

/** Moves the two pipes away from descriptors 0 and 1, close-on-exec, and points 1 at standard error: no
 * library can write a byte between two frames. The first thing that a host does. From here on a write to a
 * reader that has gone, or to a file that may not grow, is an error and no signal. Where no descriptor is
 * left for the pipes the process ends with status 1 and says so on standard error. */
ProtocolDescriptors takeProtocolDescriptors();

/** With a terminal on `input` no browser has started the host: tells the person there, on standard error,
 * what it is. */
void greetTerminal(int input);

}  // namespace vorn
