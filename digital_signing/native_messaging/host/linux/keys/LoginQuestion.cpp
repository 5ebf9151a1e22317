#include "linux/keys/LoginQuestion.h"

#include <chrono>
#include <cmath>
#include <cstdio>

#include "Security/Security.h"
#include "shared/base/Exceptions.h"

namespace vorn::keys {
namespace {

std::string textOf(der::Bytes name) {
  return x509::readName(name) ? x509::commonName(name).value_or("without a common name") : "unreadable";
}

/** `time` in seconds since 2001. */
std::string dateOf(double time) {
  using namespace std::chrono;
  constexpr double kSecondsOfDay = 86400;
  const auto days = static_cast<int>(std::floor(time / kSecondsOfDay));
  const year_month_day date(sys_days(2001y / January / 1) + std::chrono::days(days));
  char text[32];
  std::snprintf(text, sizeof text, "%04d-%02u-%02u", static_cast<int>(date.year()),
                static_cast<unsigned>(date.month()), static_cast<unsigned>(date.day()));
  return text;
}

std::vector<std::string> linesFor(const std::string& token, const x509::Certificate& certificate,
                                  const Consent::Request& request) {
  const bool isBrowser = request.caller != "none" && !request.caller.empty();
  return {request.documents == 1 ? std::string("Sign 1 document?")
                                 : "Sign " + std::to_string(request.documents) + " documents?",
          "Asked for by: " + (isBrowser ? request.caller : "a program that is no browser"),
          "Certificate: " + textOf(certificate.subject),
          "Issued by: " + textOf(certificate.issuer),
          "Valid until: " + dateOf(certificate.notAfter),
          "Token: " + token};
}

bool has(const CK_TOKEN_INFO& token, CK_FLAGS flag) {
  return (token.flags & flag) != 0;
}

NssError refusal(OSStatus status, OSStatus code, std::string sentence, const char* reason = "") {
  return {status, code, "", std::move(sentence), reason};
}

}  // namespace

LoginQuestion::LoginQuestion(PK11SlotInfo* slot, const CK_TOKEN_INFO& token,
                             const x509::Certificate& certificate, const Consent::Request& request)
    : word_(PK11_IsInternal(slot) != PR_FALSE ? "password" : "PIN"),
      token_(PK11_GetTokenName(slot)),
      info_(token),
      lines_(linesFor(token_, certificate, request)) {}

prompt::Question LoginQuestion::question(const std::string& warning) const {
  return {lines_, warning, word_ == "PIN" ? "PIN:" : "Password:", "Sign"};
}

prompt::Question LoginQuestion::notice(bool wasWrong) const {
  std::vector<std::string> lines = lines_;
  lines.push_back("Type the PIN on the keys of the card reader.");
  return {std::move(lines), warning(wasWrong), "", "Hide this"};
}

prompt::Question LoginQuestion::confirmation() const {
  return {lines_, "", "", "Sign"};
}

std::string LoginQuestion::warning(bool wasWrong) const {
  const std::string start = wasWrong ? "Wrong " + word_ : "";
  if (has(info_, CKF_USER_PIN_FINAL_TRY))
    return (wasWrong ? start + ", 1 try left" : "Only 1 try is left") + ": one more wrong " + word_ +
           " locks the token!";
  if (has(info_, CKF_USER_PIN_COUNT_LOW))
    return (wasWrong ? start + ", few tries left"
                     : "A wrong " + word_ + " was given before, few tries left") +
           ": after too many the token locks itself.";
  return wasWrong ? start + ". Try again." : "";
}

std::string LoginQuestion::wrongLength(std::size_t length) const {
  const auto bound = [](CK_ULONG number) { return number == CK_UNAVAILABLE_INFORMATION ? 0 : number; };
  const CK_ULONG shortest = bound(info_.ulMinPinLen);
  const CK_ULONG longest = bound(info_.ulMaxPinLen);
  const std::string stake = has(info_, CKF_USER_PIN_FINAL_TRY) ? " " + warning(false) : "";
  if (length == 0) return "Nothing was typed." + stake;
  if (length < shortest)
    return "Too short: the " + word_ + " has " + std::to_string(shortest) + " characters at least." + stake;
  if (longest >= shortest && longest > 0 && length > longest)
    return "Too long: the " + word_ + " has " + std::to_string(longest) + " characters at most." + stake;
  return "";
}

std::string LoginQuestion::tokenName() const {
  return "the token \"" + token_ + "\"";
}

NssError LoginQuestion::unconfirmed(const prompt::Answer& answer) const {
  if (answer.outcome == prompt::Answer::Outcome::kCancelled)
    return refusal(errSecUserCanceled, kCssmUserCanceled, "The user does not want to have this signed",
                   reason::kConfirmRefused);
  return refusal(errSecInteractionNotAllowed, kCssmNoUserInteraction,
                 "Signatures are to be confirmed, and " + answer.reason, reason::kNoPrompt);
}

NssError LoginQuestion::locked() const {
  return refusal(errSecAuthFailed, kCssmOperationAuthDenied,
                 "The " + word_ + " of " + tokenName() +
                     " is locked after too many wrong ones; unblock it with the software of the card, or ask "
                     "whoever has issued it",
                 reason::kPinBlocked);
}

NssError LoginQuestion::expired() const {
  return refusal(
      errSecAuthFailed, kCssmOperationAuthDenied,
      "The " + word_ + " of " + tokenName() + " has expired; change it with the software of the card",
      reason::kKeyFailed);
}

NssError LoginQuestion::tooManyWrong() const {
  return refusal(errSecAuthFailed, kCssmOperationAuthDenied,
                 "No right " + word_ + " for " + tokenName() + " was given; sign again when it is at hand");
}

NssError LoginQuestion::cancelled() const {
  return refusal(errSecUserCanceled, kCssmUserCanceled,
                 "The " + word_ + " prompt for " + tokenName() + " was cancelled by the user");
}

NssError LoginQuestion::unanswered(const std::string& reason) const {
  return refusal(errSecInteractionNotAllowed, kCssmNoUserInteraction,
                 "The " + word_ + " of " + tokenName() + " is needed, and " + reason);
}

}  // namespace vorn::keys
