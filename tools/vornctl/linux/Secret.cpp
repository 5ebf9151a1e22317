#include "vornctl/Secret.h"

#include <fcntl.h>
#include <termios.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <system_error>

#include "linux/prompt/PinPrompt.h"
#include "vornctl/AtomicFile.h"

namespace vorn::vornctl {
namespace {

/** Enough for any password: the text never moves, and so leaves no copies behind. */
constexpr std::size_t kRoom = 1024;

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
  std::optional<Secret> readLine() const {
    char line[kRoom];
    const ssize_t length = read(descriptor_, line, sizeof line);
    const std::string_view typed(line, static_cast<std::size_t>(std::max<ssize_t>(length, 0)));
    std::optional<Secret> secret;
    if (length > 0 && typed.find(kInterruption) == std::string_view::npos)
      secret.emplace(std::string(typed.substr(0, typed.find('\n'))));
    explicit_bzero(line, sizeof line);
    return secret;
  }

 private:
  int descriptor_;
  bool isOpen_ = false;
  termios before_{};
};

}  // namespace

Secret::Secret(Secret&& other) noexcept : text_(std::move(other.text_)) {
  // A short text was copied, not moved.
  explicit_bzero(other.text_.data(), other.text_.capacity());
}

Secret::~Secret() {
  explicit_bzero(text_.data(), text_.capacity());
}

Secret readSecret(const std::string& file) {
  std::optional<std::string> text = readFile(file);
  if (!text) throw std::system_error(std::make_error_code(std::errc::no_such_file_or_directory), file);
  std::string line = text->substr(0, text->find_first_of("\r\n"));
  explicit_bzero(text->data(), text->size());
  return Secret(std::move(line));
}

std::optional<Secret> askForSecret(const std::string& question) {
  {
    const SilentTerminal terminal;
    if (terminal.isOpen()) {
      terminal.write(question + ": ");
      std::optional<Secret> secret = terminal.readLine();
      terminal.write("\n");
      return secret;
    }
  }
  prompt::Secret typed;
  prompt::Question window;
  window.lines = {question};
  window.label = "Password:";
  const prompt::Answer answer = prompt::ask(window, typed, [] { return false; });
  if (answer.outcome != prompt::Answer::Outcome::kGiven) return std::nullopt;
  return Secret(std::string(typed.text(), typed.size()));
}

}  // namespace vorn::vornctl
