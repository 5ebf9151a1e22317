#pragma once

namespace vorn::vornctl {

/**
 * The terminal that vornctl runs in, if any, lent to a prompt for a PIN that the host may start: GPG_TTY
 * names it to the programs that are started from here on. When the object goes, and when a signal ends the
 * process, the terminal is as it was: a prompt that is killed leaves it without echo.
 */
class PromptTerminal {
 public:
  PromptTerminal();
  ~PromptTerminal();
  PromptTerminal(const PromptTerminal&) = delete;
  PromptTerminal& operator=(const PromptTerminal&) = delete;
};

}  // namespace vorn::vornctl
