#pragma once

#include <cstdint>
#include <exception>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "shared/messaging/FrameAssembler.h"
#include "shared/request/AnswerParts.h"

/** Thrown by a writer whose reader has gone: nothing can be answered any more. */
class OutputClosed : public std::exception {
 public:
  const char* what() const noexcept override { return "standard output was closed"; }
};

/**
 * The conversation with the browser, apart from any loop: bytes in, framed answers out, one request after
 * another. Each entry point brings its own way to wait for input and to write.
 */
class MessageExchange {
 public:
  /** Writes all the bytes or throws OutputClosed. Called twice for an answer: its length, then its text. */
  using Write = std::function<void(std::string_view bytes)>;

  explicit MessageExchange(Write write);

  /**
   * Answers every message that is complete with these bytes, and starts the idle timer after each answer.
   * Returns the exit status when the process has to end; everything has been answered and logged then.
   * Lets no exception out.
   */
  std::optional<int> deliver(std::string_view bytes);

 private:
  void answerCompleteMessages();
  std::string answerTo(std::string message);
  std::optional<int> fail(std::uint32_t code, const std::string& message);
  void sendMessage(const std::string& text);

  Write write_;
  FrameAssembler frames_;
  AnswerParts parts_;
};
