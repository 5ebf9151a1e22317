#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "linux/prompt/LockedMemory.h"

namespace vorn::prompt {

enum class Weight { kInfo, kWarning };

/** Whoever keeps a log gives the function that writes to it; without one nothing is told. */
using Log = void (*)(Weight weight, std::string_view text);
void setLog(Log log);

/** Nothing secret, and nothing of the question, is ever given to it. */
void log(Weight weight, std::string_view text) noexcept;

/** What a prompt shows. Texts from outside need no care: each line is made harmless, and cut, here. */
struct Question {
  std::vector<std::string> lines;
  /** The warning of what went wrong before, or is at stake now, shown in a place of its own; may be empty. */
  std::string warning = "";
  /** Before the field. */
  std::string label = "PIN:";
  /** On the button. */
  std::string consent = "OK";
};

struct Answer {
  enum class Outcome { kGiven, kCancelled, kFailed };

  Outcome outcome = Outcome::kGiven;
  /** With kFailed, says for people why nobody could be asked, or did not answer, and what to do. */
  std::string reason = "";
};

/** Asks the user by the desktop's own prompt, and waits for the answer: as long as VORN_PROMPT_SECONDS says,
 * four minutes without it. The prompt dies with the process. What is typed goes to `secret`, and is nowhere
 * else when this returns. To be called from the main thread: the kernel ends the prompt with the thread that
 * has started it. */
Answer ask(const Question& question, Secret& secret);
/** The same for a word of consent, without a field to type in. */
Answer confirm(const Question& question);

/** Shows a text for as long as the object lives, while something else waits for the user: a reader with keys
 * of its own. Where nothing can be shown the log says why. */
class Notice {
 public:
  explicit Notice(const Question& notice);
  ~Notice();

 private:
  std::unique_ptr<class Dialogue> dialogue_;
};

}  // namespace vorn::prompt
