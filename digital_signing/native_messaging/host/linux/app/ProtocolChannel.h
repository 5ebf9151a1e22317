#pragma once

#include <optional>
#include <string_view>

/**
 * The browser's two pipes. They are moved away from descriptors 0 and 1 before anything else runs, close-on-exec,
 * and 1 is pointed at standard error: no library can write a byte between two frames.
 */
class ProtocolChannel {
 public:
  ProtocolChannel();
  ProtocolChannel(const ProtocolChannel&) = delete;
  ProtocolChannel& operator=(const ProtocolChannel&) = delete;

  /** True when a person sits at the input: no browser starts a host that way. */
  bool inputIsTerminal() const;

  /**
   * Waits at most `milliseconds` for input. Nothing when none came; empty at the end of input; otherwise what could be
   * read at once, valid until the next call.
   */
  std::optional<std::string_view> read(int milliseconds);

  /** Writes all the bytes, waiting as long as the browser takes. Throws OutputClosed when it has gone. */
  void write(std::string_view bytes);

 private:
  int input_;
  int output_;
};
