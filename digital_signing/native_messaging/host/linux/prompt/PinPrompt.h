#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "linux/prompt/LockedMemory.h"

namespace vorn::prompt {

/** What a prompt shows. Texts from outside need no care: each line is made harmless, and cut, here. */
struct Question {
  std::vector<std::string> lines;
  /** What went wrong before, or is at stake now; shown in a place of its own. Empty when there is nothing. */
  std::string warning = "";
  /** Before the field. */
  std::string label = "PIN:";
  /** On the button. */
  std::string consent = "OK";
};

struct Answer {
  enum class Outcome { kGiven, kCancelled, kAbandoned, kFailed };

  Outcome outcome = Outcome::kGiven;
  /** Of kFailed, for people: why nobody could be asked, or did not answer, and what to do. */
  std::string reason = "";
};

/** Whether the question is of no use any more. Called from another thread while a prompt is open. Empty for a
 * question that is always of use. */
using IsAbandoned = std::function<bool()>;

/**
 * Asks the user by the desktop's own prompt, and waits for the answer: as long as VORN_PROMPT_SECONDS says,
 * four minutes without it. The prompt dies with the process, and is closed once `isAbandoned` says so. What
 * is typed goes to `secret`, and is nowhere else when this returns. To be called from the main thread: the
 * kernel ends the prompt with the thread that has started it.
 */
Answer ask(const Question& question, Secret& secret, const IsAbandoned& isAbandoned);

/**
 * Shows a text for as long as the object lives, while something else waits for the user: a reader with keys
 * of its own. Where nothing can be shown the log says why. Nobody can call a reader off, so that the
 * process ends, with status 0, once `isAbandoned` says so.
 */
class Notice {
 public:
  Notice(const Question& notice, const IsAbandoned& isAbandoned);
  ~Notice();

 private:
  struct Parts;
  std::unique_ptr<Parts> parts_;
};

}  // namespace vorn::prompt
