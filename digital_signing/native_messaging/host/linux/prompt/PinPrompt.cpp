#include "linux/prompt/PinPrompt.h"

#include <assuan.h>
#include <unistd.h>

#include <algorithm>
#include <charconv>
#include <chrono>
#include <system_error>
#include <utility>

#include "linux/prompt/PromptProcess.h"
#include "shared/base/Platform.h"
#include "shared/text/HarmlessText.h"
#include "shared/text/Utf8.h"

namespace vorn::prompt {
namespace {

using platform::environment;
using Outcome = Answer::Outcome;

Log writeToLog = nullptr;

constexpr std::chrono::seconds kAnswerPatience{240};
constexpr std::chrono::seconds kLongestPatience{3600};
constexpr std::size_t kLongestLine = 120;
/** Of a line of the protocol, its end left out. */
constexpr std::size_t kLongestCommand = 990;

assuan_malloc_hooks kLockedMemory = {&allocateLocked, &reallocateLocked, &freeLocked};

/** The library would write what is said to standard error, if the environment asked it to. */
int logNothing(assuan_context_t, void*, unsigned, const char*) {
  return 0;
}

std::chrono::seconds patience() {
  const std::string text = environment("VORN_PROMPT_SECONDS");
  long seconds = 0;
  const auto [end, fault] = std::from_chars(text.data(), text.data() + text.size(), seconds);
  const bool isNumber = fault == std::errc() && end == text.data() + text.size() && seconds > 0;
  return isNumber ? std::chrono::seconds(std::min<long>(seconds, kLongestPatience.count())) : kAnswerPatience;
}

std::string shown(const std::string& line) {
  const std::string text = harmlessText(line);
  return text.size() <= kLongestLine ? text : std::string(cutUtf8(text, kLongestLine)) + "...";
}

/** The command with its text, as the protocol has both: in one line, and not too long for it. */
std::string commandOf(const std::string& command, const std::string& text) {
  std::string escaped = command + " ";
  for (const char character : text) {
    const bool isStart = (character & 0xC0) != 0x80;  // of a character, which UTF-8 may spread over four
    if (isStart && escaped.size() > kLongestCommand - 4) break;
    if (character == '%')
      escaped += "%25";
    else if (character == '\n')
      escaped += "%0A";
    else
      escaped += character;
  }
  return escaped;
}

std::string joined(const std::vector<std::string>& lines) {
  std::string text;
  for (const std::string& line : lines) text += (text.empty() ? "" : "\n") + shown(line);
  return text;
}

gpg_error_t keep(void* secret, const void* bytes, std::size_t count) {
  return static_cast<Secret*>(secret)->append(bytes, count) ? 0 : gpg_error(GPG_ERR_TOO_LARGE);
}

/** Whether the prompt has gone. */
bool isOfBrokenLine(gpg_err_code_t code) {
  return code == GPG_ERR_EOF || code == GPG_ERR_EPIPE || code == GPG_ERR_ECONNRESET;
}

}  // namespace

/** A prompt that has been started, and the talk with it. All of the talk lies in locked memory. */
class Dialogue {
 public:
  explicit Dialogue(const std::string& program) : process_(program) {}
  ~Dialogue() { assuan_release(context_); }

  PromptProcess& process() { return process_; }

  /** Says all that is said before the question itself. What a prompt does not know it need not follow. 0, or
   * why there is no prompt to talk to. */
  gpg_error_t begin(const Question& question) {
    gpg_error_t fault =
        assuan_new_ext(&context_, GPG_ERR_SOURCE_USER_1, &kLockedMemory, &logNothing, nullptr);
    if (fault != 0) return fault;
    assuan_begin_confidential(context_);
    fault = assuan_socket_connect_fd(context_, process_.takeSocket(), 0);
    if (fault != 0) return fault;
    std::vector<std::string> commands = {"OPTION no-grab"};
    const std::pair<const char*, std::string> settings[] = {{"OPTION ttyname=", environment("GPG_TTY")},
                                                            {"OPTION ttytype=", environment("TERM")},
                                                            {"OPTION lc-ctype=", locale("LC_CTYPE")},
                                                            {"OPTION lc-messages=", locale("LC_MESSAGES")}};
    for (const auto& [option, value] : settings)
      if (!value.empty()) commands.push_back(option + value.substr(0, kLongestLine));
    commands.push_back("SETTITLE VORN Signing");
    commands.push_back(commandOf("SETDESC", joined(question.lines)));
    commands.push_back(commandOf("SETPROMPT", question.label));
    commands.push_back(commandOf("SETOK", question.consent));
    commands.push_back("SETCANCEL Cancel");
    if (!question.warning.empty()) commands.push_back(commandOf("SETERROR", shown(question.warning)));
    commands.push_back("SETTIMEOUT " + std::to_string(patience().count()));
    for (const std::string& command : commands)
      if (fault = transact(command, nullptr); fault != 0 && hasEnded(fault)) return fault;
    return 0;
  }

  /** Whether the question itself has been put. */
  bool hasAsked() const { return hasAsked_; }

  /** Asks for a PIN, or without a `secret` for a word of consent. */
  gpg_error_t ask(Secret* secret) {
    hasAsked_ = true;
    // A little more than the prompt has been told, which should end by itself.
    process_.allow(patience() + std::chrono::seconds(1));
    return transact(secret != nullptr ? "GETPIN" : "CONFIRM", secret);
  }

  gpg_error_t showMessage() {
    hasAsked_ = true;
    return assuan_write_line(context_, "MESSAGE");
  }

 private:
  static std::string locale(const char* category) {
    for (const char* name : {"LC_ALL", category, "LANG"})
      if (std::string value = environment(name); !value.empty()) return value;
    return "";
  }

  bool hasEnded(gpg_error_t fault) const { return process_.wasLate() || isOfBrokenLine(gpg_err_code(fault)); }

  gpg_error_t transact(const std::string& command, Secret* secret) {
    return assuan_transact(context_, command.c_str(), secret != nullptr ? &keep : nullptr, secret, nullptr,
                           nullptr, nullptr, nullptr);
  }

  PromptProcess process_;
  assuan_context_t context_ = nullptr;
  bool hasAsked_ = false;
};

namespace {

std::string inSeconds(std::chrono::seconds time) {
  return std::to_string(time.count()) + " seconds";
}

Answer unanswered() {
  return {Outcome::kFailed, "nobody has answered the prompt for " + inSeconds(patience()) + "; sign again"};
}

Answer answerOf(gpg_error_t fault, Dialogue& dialogue, const std::string& program) {
  const gpg_err_code_t code = gpg_err_code(fault);
  const bool wasLate = dialogue.process().wasLate();
  const std::string advice = "; see that it runs and has a display, or have VORN_PINENTRY name another";
  if (wasLate && !dialogue.hasAsked())
    return {Outcome::kFailed, "the prompt " + program + " did not start" + advice};
  if (wasLate || code == GPG_ERR_TIMEOUT) return unanswered();
  if (code == GPG_ERR_CANCELED || code == GPG_ERR_FULLY_CANCELED || code == GPG_ERR_NOT_CONFIRMED)
    return {Outcome::kCancelled};
  if (code == GPG_ERR_NO_ERROR) return {};
  const bool hasDied = isOfBrokenLine(code);
  return {Outcome::kFailed, "the prompt " + program +
                                (hasDied ? " ended without an answer" : " could not ask: ") +
                                (hasDied ? "" : gpg_strerror(fault)) + advice};
}

Answer askWith(const std::string& program, const Question& question, Secret* secret) {
  Dialogue dialogue(program);
  gpg_error_t fault = dialogue.begin(question);
  if (fault == 0) fault = dialogue.ask(secret);
  return answerOf(fault, dialogue, program);
}

Answer askOf(const Question& question, Secret* secret) {
  const PromptProgram program = findPromptProgram();
  Answer answer{Outcome::kFailed, program.fault};
  if (!program.path.empty()) {
    log(Weight::kInfo, "Asking with " + program.path);
    try {
      answer = askWith(program.path, question, secret);
    } catch (const std::system_error& failure) {
      answer.reason = "the prompt " + program.path + " cannot be started: " + failure.what();
    }
  }
  const std::string words[] = {"The prompt was answered", "The prompt was cancelled", "No answer: "};
  log(Weight::kInfo, words[static_cast<int>(answer.outcome)] + answer.reason);
  return answer;
}

void warnOfNoNotice(const std::string& reason) {
  log(Weight::kWarning, "No notice can be shown: " + reason);
}

}  // namespace

void setLog(Log log) {
  writeToLog = log;
}

void log(Weight weight, std::string_view text) noexcept {
  try {
    if (writeToLog != nullptr) writeToLog(weight, text);
  } catch (...) {
    // A record that is lost is no reason to leave a question unasked.
  }
}

Answer ask(const Question& question, Secret& secret) {
  secret.wipe();
  Answer answer = askOf(question, &secret);
  if (answer.outcome != Outcome::kGiven) secret.wipe();
  return answer;
}

Answer confirm(const Question& question) {
  return askOf(question, nullptr);
}

Notice::Notice(const Question& notice) {
  const PromptProgram program = findPromptProgram();
  if (program.path.empty()) {
    warnOfNoNotice(program.fault);
    return;
  }
  try {
    dialogue_ = std::make_unique<Dialogue>(program.path);
    gpg_error_t fault = dialogue_->begin(notice);
    if (fault == 0) fault = dialogue_->showMessage();
    dialogue_->process().allow(kLongestPatience);
    if (fault != 0) warnOfNoNotice(answerOf(fault, *dialogue_, program.path).reason);
  } catch (const std::system_error& failure) {
    warnOfNoNotice(failure.what());
  }
}

Notice::~Notice() {
  if (dialogue_) dialogue_->process().dismiss();
}

}  // namespace vorn::prompt
