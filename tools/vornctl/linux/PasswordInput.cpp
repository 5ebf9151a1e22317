#include <fcntl.h>
#include <poll.h>
#include <termios.h>
#include <unistd.h>

#include <cerrno>
#include <iostream>
#include <system_error>

#include "linux/prompt/PinPrompt.h"
#include "vornctl/base/InputFile.h"
#include "vornctl/base/Terminal.h"
#include "vornctl/linux/KeyStoreCommands.h"

namespace vorn::vornctl {
namespace {

constexpr char kInterruption = '\x03';

/** The terminal of this process with its echo off. */
class SilentTerminal {
 public:
  SilentTerminal() : descriptor_(open("/dev/tty", O_RDWR | O_NOCTTY | O_CLOEXEC)) {
    if (descriptor_ < 0 || tcgetattr(descriptor_, &before_) != 0) return;
    termios silent = before_;
    // An interruption comes as a character that ends the line: nothing may leave the terminal without its
    // echo.
    silent.c_lflag &= ~static_cast<tcflag_t>(ECHO | ISIG);
    silent.c_cc[VEOL] = kInterruption;
    isOpen_ = tcsetattr(descriptor_, TCSAFLUSH, &silent) == 0;
  }
  ~SilentTerminal() {
    if (isOpen_) tcsetattr(descriptor_, TCSAFLUSH, &before_);
    if (descriptor_ >= 0) close(descriptor_);
  }
  SilentTerminal(const SilentTerminal&) = delete;
  SilentTerminal& operator=(const SilentTerminal&) = delete;

  bool isOpen() const { return isOpen_; }
  void write(const std::string& text) const {
    [[maybe_unused]] const ssize_t written = ::write(descriptor_, text.data(), text.size());
  }
  bool readLine(prompt::Secret& line) const {
    char letter = 0;
    // A terminal gives a line at a time, of which no other copy is made here.
    while (read(descriptor_, &letter, 1) == 1) {
      if (letter == '\n') return true;
      if (letter == kInterruption || !line.append(&letter, 1)) return false;
    }
    return false;
  }

 private:
  int descriptor_;
  bool isOpen_ = false;
  termios before_{};
};

}  // namespace

void readPassword(const std::string& file, prompt::Secret& password) {
  password.wipe();
  const int input = open(file.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY);
  std::string fault = input < 0 ? std::generic_category().message(errno) : "";
  // A pipe may be another program's answer. Of one without an end, or such a device, no more is read than a
  // secret has room for, and no other copy is made.
  char letter = 0;
  while (fault.empty()) {
    const ssize_t count = read(input, &letter, 1);
    pollfd more{input, POLLIN, 0};
    if (count == 0 || (count > 0 && (letter == '\n' || letter == '\r'))) break;
    if (count > 0 && !password.append(&letter, 1)) fault = "too long for a password";
    if (count < 0 && errno != EAGAIN && errno != EINTR) fault = std::generic_category().message(errno);
    if (count < 0 && fault.empty()) poll(&more, 1, -1);
  }
  if (input >= 0) close(input);
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

bool askForStorePassword(const std::filesystem::path& folder, bool retry, prompt::Secret& password) {
  if (retry) std::cerr << "That is not the password of the key store.\n";
  return askForPassword("Password of the key store " + printable(folder.string()), password);
}

}  // namespace vorn::vornctl
