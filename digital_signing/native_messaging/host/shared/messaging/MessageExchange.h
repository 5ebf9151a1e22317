#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "shared/base/Requester.h"
#include "shared/messaging/FrameAssembler.h"
#include "shared/request/AnswerParts.h"

namespace vorn {

/** Logs what the browser passed: its manifest's path, the calling extension. Worth knowing a year from now.
 * The caller is also named in the log's line for each signature. */
void logArguments(int count, const char* const* arguments);

/** Thrown by a writer whose reader has gone: nothing can be answered any more. */
class OutputClosedException : public RequesterGoneException {
 public:
  const char* what() const noexcept override { return "standard output was closed"; }
};

/** The conversation with the browser, apart from any loop: bytes in, framed answers out, one request after
 * another. Each entry point brings its own way to wait for input and to write. */
class MessageExchange {
 public:
  /** Writes all the bytes or throws OutputClosedException, and allocates nothing. Called twice for an answer:
   * its length, then its text. */
  using Write = std::function<void(std::string_view bytes)>;

  explicit MessageExchange(Write write);

  /** Answers every message that is complete with these bytes, and starts the idle timer after each answer.
   * Returns the exit status when the process has to end; everything has been answered and logged then, the
   * latter as far as there was memory for it. */
  std::optional<int> deliver(std::string_view bytes) noexcept;

  /** For std::set_terminate: a library may fail where no exception can leave it, as a rule for want of
   * memory. Answers with code 100 when an answer is due and no byte of it has been written, and ends the
   * process with status 1. Needs no memory. */
  [[noreturn]] static void answerAndEnd() noexcept;

 private:
  std::optional<int> answer(std::string_view bytes);
  void answerCompleteMessages();
  std::string answerTo(std::string message);
  int fail(std::uint32_t code, const char* message, const char* reason);
  int answerWithoutMemory() noexcept;
  void sendMessage(const std::string& text);
  void writeFrame(std::string_view text);

  static MessageExchange* working_;  // the one that is delivered to

  Write write_;
  bool isAnswerDue_ = false;
  bool wantsReasons_ = false;  // whoever is owed the answer
  FrameAssembler frames_;
  AnswerParts parts_;
};

}  // namespace vorn
