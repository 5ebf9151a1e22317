#pragma once

#include <optional>
#include <string>

namespace vorn::vornctl {

/** A password, wiped from memory with the object. */
class Secret {
 public:
  explicit Secret(std::string text) : text_(std::move(text)) {}
  ~Secret();
  Secret(const Secret&) = delete;
  Secret& operator=(const Secret&) = delete;
  Secret(Secret&& other) noexcept;
  Secret& operator=(Secret&&) = delete;

  const std::string& text() const { return text_; }

 private:
  std::string text_;
};

/** The first line of the file. Throws std::system_error when it cannot be read. */
Secret readSecret(const std::string& file);

/**
 * Asks at the terminal, which does not show what is typed, or else by the desktop's prompt. None when there
 * is neither, or the question was given up.
 */
std::optional<Secret> askForSecret(const std::string& question);

}  // namespace vorn::vornctl
