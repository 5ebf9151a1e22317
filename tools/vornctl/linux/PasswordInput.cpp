#include "vornctl/linux/PasswordInput.h"

#include <termios.h>

#include <system_error>

#include "linux/prompt/PinPrompt.h"
#include "shared/base/Descriptor.h"
#include "vornctl/base/InputFile.h"

namespace vorn::vornctl {
namespace {

constexpr char kInterruption = '\x03';

/** The terminal of this process with its echo off. */
class SilentTerminal {
 public:
  SilentTerminal() : descriptor_(open("/dev/tty", O_RDWR | O_NOCTTY | O_CLOEXEC)) {
    if (!descriptor_ || tcgetattr(descriptor_.get(), &before_) != 0) return;
    termios silent = before_;
    // An interruption comes as a character that ends the line: nothing may leave the terminal without its
    // echo.
    silent.c_lflag &= ~static_cast<tcflag_t>(ECHO | ISIG);
    silent.c_cc[VEOL] = kInterruption;
    isOpen_ = tcsetattr(descriptor_.get(), TCSAFLUSH, &silent) == 0;
  }
  ~SilentTerminal() {
    if (isOpen_) tcsetattr(descriptor_.get(), TCSAFLUSH, &before_);
  }

  bool isOpen() const { return isOpen_; }
  void write(std::string_view text) const { writeAll(descriptor_.get(), text); }
  bool readLine(prompt::Secret& line) const {
    char letter = 0;
    // A terminal gives a line at a time, of which no other copy is made here.
    while (read(descriptor_.get(), &letter, 1) == 1) {
      if (letter == '\n') return true;
      if (letter == kInterruption || !line.append(&letter, 1)) return false;
    }
    return false;
  }

 private:
  Descriptor descriptor_;
  bool isOpen_ = false;
  termios before_{};
};

}  // namespace

void readPassword(const std::string& file, prompt::Secret& password) {
  password.wipe();
  const Descriptor input(open(file.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
  std::string fault = input ? "" : std::generic_category().message(errno);
  // A pipe may be another program's answer. Of one without an end, or such a device, no more is read than a
  // secret has room for, and no other copy is made.
  char letter = 0;
  while (fault.empty()) {
    const ssize_t count = readSome(input.get(), &letter, 1);
    if (count == 0 || (count > 0 && (letter == '\n' || letter == '\r'))) break;
    if (count > 0 && !password.append(&letter, 1)) fault = "too long for a password";
    if (count < 0 && errno != EAGAIN) fault = std::generic_category().message(errno);
    if (count < 0 && fault.empty()) isReady(input.get(), POLLIN, -1);
  }
  if (!fault.empty()) throw InputFault(file + ": " + fault);
}

bool askForPassword(const std::string& question, prompt::Secret& password) {
  password.wipe();
  {
    const SilentTerminal terminal;
    if (terminal.isOpen()) {
      terminal.write(question + ": ");
      const bool isTyped = terminal.readLine(password);
      terminal.write("\n");
      return isTyped;
    }
  }
  prompt::Question window;
  window.lines = {question};
  window.label = "Password:";
  const prompt::Answer answer = prompt::ask(window, password);
  return answer.outcome == prompt::Answer::Outcome::kGiven;
}

}  // namespace vorn::vornctl
