#include "vornctl/commands/PromptTerminal.h"

#include <termios.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <initializer_list>

namespace vorn::vornctl {
namespace {

constexpr int kEndingSignals[] = {SIGINT, SIGTERM, SIGHUP};

int terminal = -1;
termios before{};

void restore() {
  if (terminal >= 0) tcsetattr(terminal, TCSANOW, &before);
}

extern "C" void restoreAndEnd(int signal) {
  restore();
  std::signal(signal, SIG_DFL);
  std::raise(signal);
}

}  // namespace

PromptTerminal::PromptTerminal() {
  for (const int descriptor : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
    const char* const name = ttyname(descriptor);
    if (name == nullptr || tcgetattr(descriptor, &before) != 0) continue;
    setenv("GPG_TTY", name, 1);
    terminal = descriptor;
    for (const int signal : kEndingSignals)
      if (std::signal(signal, &restoreAndEnd) == SIG_IGN) std::signal(signal, SIG_IGN);
    return;
  }
}

PromptTerminal::~PromptTerminal() {
  if (terminal < 0) return;
  restore();
  terminal = -1;
  for (const int signal : kEndingSignals) std::signal(signal, SIG_DFL);
}

}  // namespace vorn::vornctl
