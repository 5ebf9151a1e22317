#include "linux/keys/Consent.h"

#include <prerror.h>
#include <secerr.h>
#include <sys/stat.h>

#include <algorithm>

#include "linux/keys/LoginQuestion.h"
#include "linux/keys/TokenKey.h"
#include "linux/keys/WatchedModules.h"
#include "linux/processes/CallMark.h"
#include "linux/prompt/PinPrompt.h"
#include "shared/base/Descriptor.h"
#include "shared/base/Exceptions.h"
#include "shared/base/Platform.h"
#include "shared/base/Waiting.h"

namespace vorn::keys {
namespace {

/** A token without a count of its own would let a program that answers the prompt try for ever. */
constexpr int kMostQuestions = 5;

using Clock = std::chrono::system_clock;
using std::chrono::seconds;

constexpr seconds kLongestPause{60};
constexpr long kMostDoubled = 6;

struct Cancelled {
  long count = 0;
  Clock::time_point last{};
};
Cancelled ofThisProcess;

/** It has a byte for each prompt that was cancelled, and the time of the last. Empty without a folder. */
std::string sharedFile() {
  const std::string folder = platform::environment("XDG_RUNTIME_DIR");
  return folder.starts_with('/') ? folder + "/vorn-signing-cancelled" : "";
}

Cancelled cancelled() {
  struct stat file{};
  if (lstat(sharedFile().c_str(), &file) != 0 || !S_ISREG(file.st_mode) ||
      file.st_size <= ofThisProcess.count)
    return ofThisProcess;
  return {file.st_size,
          Clock::from_time_t(file.st_mtim.tv_sec) + std::chrono::microseconds(file.st_mtim.tv_nsec / 1000)};
}

/** Pauses before a prompt that follows one that was cancelled: a second, and twice as long after each further
 * one, up to a minute. Whoever cancels is not to be worn down by a page that asks again. It holds across
 * processes for as long as the user's session has a folder for such things (XDG_RUNTIME_DIR). */
void pauseAfterCancelled() {
  const Cancelled before = cancelled();
  if (before.count == 0) return;
  const seconds pause = std::min(kLongestPause, seconds(1L << std::min(before.count - 1, kMostDoubled)));
  const Clock::time_point now = Clock::now();
  // A clock that was set back makes nobody wait longer.
  std::this_thread::sleep_until(std::min(before.last, now) + pause);
}

void noteCancelled() {
  ofThisProcess = {cancelled().count + 1, Clock::now()};
  const Descriptor file(
      open(sharedFile().c_str(), O_WRONLY | O_CREAT | O_APPEND | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC, 0600));
  [[maybe_unused]] const ssize_t written = write(file.get(), "x", 1);
}

void noteAnswered() {
  ofThisProcess = {};
  unlink(sharedFile().c_str());
}

template <typename Ask>
prompt::Answer askPerson(Ask ask) {
  const MarkedWait answering;
  pauseAfterCancelled();
  prompt::Answer answer = ask();
  if (answer.outcome == prompt::Answer::Outcome::kCancelled) noteCancelled();
  if (answer.outcome == prompt::Answer::Outcome::kGiven) noteAnswered();
  return answer;
}

}  // namespace

bool isPresentSoon(PK11SlotInfo* slot, bool wanted) {
  using std::chrono::milliseconds;
  return comesWithin(milliseconds(1500), milliseconds(100),
                     [&] { return (PK11_IsPresent(slot) != PR_FALSE) == wanted; });
}

NssError lastErrorOf(PK11SlotInfo* slot) {
  const PRErrorCode code = PR_GetError();
  const bool hasDeviceFailed = code == SEC_ERROR_PKCS11_GENERAL_ERROR ||
                               code == SEC_ERROR_PKCS11_FUNCTION_FAILED ||
                               code == SEC_ERROR_PKCS11_DEVICE_ERROR;
  const bool hasLeft = hasDeviceFailed && PK11_IsRemovable(slot) != PR_FALSE && isPresentSoon(slot, false);
  PR_SetError(hasLeft ? SEC_ERROR_NO_TOKEN : code, 0);
  NssError error = lastNssError();
  if (PR_GetError() == SEC_ERROR_NO_TOKEN) {
    error.reason = reason::kCardOut;
    error.sentence = std::string("The token \"") + PK11_GetTokenName(slot) +
                     "\" is not in its reader; put the card in and sign again";
  }
  return error;
}

Consent::~Consent() {
  for (const auto& key : opened_)
    if (const auto alive = key.lock()) alive->forget();
}

TokenLogin& Consent::loginTo(PK11SlotInfo* slot) {
  for (const auto& login : logins_)
    if (login->isTo(slot)) return *login;
  return *logins_.emplace_back(std::make_unique<TokenLogin>(slot, *this));
}

TokenLogin::TokenLogin(PK11SlotInfo* slot, Consent& consent)
    : slot_(PK11_ReferenceSlot(slot)), consent_(consent) {
  PK11_SetPasswordFunc(&answerToNss);
}

TokenLogin::~TokenLogin() {
  pin_.wipe();  // first: a module may never return from what follows
  if (isLoggedIn_) PK11_Logout(slot_.get());
}

/** NSS asks in other places too, with no login for a context, and is told nothing there. It wipes what it is
 * given. It calls again when the PIN was wrong, some calls with the token's lock held: whoever called NSS
 * looks then why, and asks. */
char* TokenLogin::answerToNss(PK11SlotInfo* slot, PRBool retry, void* context) {
  auto* const login = static_cast<TokenLogin*>(context);
  if (login == nullptr || !login->isTo(slot)) return nullptr;
  if (retry != PR_FALSE) login->isRefused_ = true;
  // A module is given the PIN itself, of which NSS needs no copy then.
  const bool forModule = PK11_IsInternal(slot) == PR_FALSE;
  return retry != PR_FALSE ? nullptr : PORT_Strdup(forModule ? "" : login->pin_.text());
}

SECStatus TokenLogin::run(const std::function<SECStatus(void*)>& use) {
  isRefused_ = false;
  WatchedModules::usePin(pin_.text());
  const SECStatus status = use(this);
  WatchedModules::usePin(nullptr);
  return status;
}

std::optional<NssError> TokenLogin::logIn(const x509::Certificate& certificate) {
  auto refusal = withPin(certificate,
                         [this](void* context) { return PK11_Authenticate(slot_.get(), PR_TRUE, context); });
  isLoggedIn_ = isLoggedIn_ || !refusal;
  return refusal;
}

std::optional<NssError> TokenLogin::confirm(const x509::Certificate& certificate) {
  if (consent_.isGiven()) return std::nullopt;
  const LoginQuestion question(slot_.get(), {}, certificate, consent_.request());
  const prompt::Answer answer = askPerson([&] { return prompt::confirm(question.confirmation()); });
  if (answer.outcome != prompt::Answer::Outcome::kGiven) return question.unconfirmed(answer);
  consent_.give();
  return std::nullopt;
}

std::optional<NssError> TokenLogin::withPin(const x509::Certificate& certificate,
                                            const std::function<SECStatus(void*)>& use) {
  for (bool wasWrong = false;; wasWrong = true) {
    CK_TOKEN_INFO token{};
    if (PK11_GetTokenInfo(slot_.get(), &token) != SECSuccess) return lastErrorOf(slot_.get());
    const LoginQuestion question(slot_.get(), token, certificate, consent_.request());
    if ((token.flags & CKF_USER_PIN_LOCKED) != 0) return question.locked();
    std::optional<MarkedWait> typing;
    std::optional<prompt::Notice> notice;
    if ((token.flags & CKF_PROTECTED_AUTHENTICATION_PATH) != 0) {
      if (++questions_ > kMostQuestions) return question.tooManyWrong();
      typing.emplace();
      notice.emplace(question.notice(wasWrong));
    } else if (pin_.size() == 0 || (token.flags & CKF_USER_PIN_FINAL_TRY) != 0) {
      // The last try is the user's: the PIN that is held is not used up on it.
      if (auto refusal = ask(question, question.warning(wasWrong))) return refusal;
    }
    if (run(use) == SECSuccess) {
      questions_ = 0;
      consent_.give();
      return std::nullopt;
    }
    const PRErrorCode code = PR_GetError();
    if (code == SEC_ERROR_LOCKED_PASSWORD) return question.locked();
    if (code == SEC_ERROR_EXPIRED_PASSWORD) return question.expired();
    if (!isRefused_ && code != SEC_ERROR_INVALID_PASSWORD) return lastErrorOf(slot_.get());
    prompt::log(prompt::Weight::kWarning,
                std::string("The token \"") + PK11_GetTokenName(slot_.get()) + "\" takes the PIN for wrong");
    pin_.wipe();
  }
}

/** Asks until a PIN is typed that may be right. Returns nothing then, or else why the user gave none. */
std::optional<NssError> TokenLogin::ask(const LoginQuestion& question, std::string warning) {
  bool wasOdd = false;
  while (true) {
    if (++questions_ > kMostQuestions) return question.tooManyWrong();
    const prompt::Answer answer = askPerson([&] { return prompt::ask(question.question(warning), pin_); });
    if (answer.outcome == prompt::Answer::Outcome::kFailed) return question.unanswered(answer.reason);
    if (answer.outcome != prompt::Answer::Outcome::kGiven) return question.cancelled();
    // The token may count it as a try; but whoever insists may know the token better than it does itself.
    warning = question.wrongLength(pin_.size());
    if (warning.empty() || (wasOdd && pin_.size() > 0)) return std::nullopt;
    wasOdd = wasOdd || pin_.size() > 0;
  }
}

}  // namespace vorn::keys
