#pragma once

#include <optional>
#include <string_view>

#include "shared/messaging/ProtocolDescriptors.h"

namespace vorn {

/** The browser's two pipes, read with a timed wait and written to the last byte. */
class ProtocolChannel {
 public:
  explicit ProtocolChannel(ProtocolDescriptors descriptors) : descriptors_(descriptors) {}

  /**
   * Waits at most `milliseconds` for input. Nothing when none came; empty at the end of input; otherwise what
   * could be read at once, valid until the next call. Throws std::system_error when no wait is possible.
   */
  std::optional<std::string_view> read(int milliseconds);

  /**
   * Writes all the bytes, waiting as long as the browser takes. Throws
   * OutputClosedException when it has gone.
   */
  void write(std::string_view bytes);

 private:
  ProtocolDescriptors descriptors_;
};

}  // namespace vorn
