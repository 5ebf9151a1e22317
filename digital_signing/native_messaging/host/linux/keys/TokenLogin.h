#pragma once

#include <functional>
#include <optional>
#include <string>

#include "linux/keys/NssError.h"
#include "linux/keys/NssHandles.h"
#include "linux/prompt/LockedMemory.h"
#include "linux/prompt/SigningRequest.h"
#include "linux/x509/X509Certificate.h"

namespace vorn::keys {

class LoginQuestion;

/**
 * What the user consents to with the PIN of one token: to have the documents of the request at hand signed,
 * and nothing else. The token is logged out, and the PIN wiped, when the request ends.
 */
class TokenLogin {
 public:
  /** For the request at hand and this token; null when there is no request, and so nobody to ask. */
  static TokenLogin* of(PK11SlotInfo* slot);

  TokenLogin(PK11SlotInfo* slot, prompt::SigningRequest& request);
  ~TokenLogin();
  TokenLogin(const TokenLogin&) = delete;
  TokenLogin& operator=(const TokenLogin&) = delete;

  /** Asks for the PIN, and opens the token with it. Nothing when it is open then, else why not. */
  std::optional<NssError> logIn(const x509::Certificate& certificate);

  /** Has the user confirm the request, unless a PIN has done that. Nothing when it is, else why not. */
  std::optional<NssError> confirm(const x509::Certificate& certificate);

  /**
   * Calls `use`, in which the token wants its PIN, with the PIN that is held, or that is asked for; again
   * while it is wrong. `use` returns what NSS does. Nothing on success, else why not.
   */
  std::optional<NssError> withPin(const x509::Certificate& certificate,
                                  const std::function<SECStatus()>& use);

  /** For when no key is used that wants the PIN again. */
  void forgetPin() { pin_.wipe(); }

 private:
  static char* answerToNss(PK11SlotInfo* slot, PRBool retry, void* context);
  std::optional<NssError> ask(const LoginQuestion& question, std::string warning);
  SECStatus run(const std::function<SECStatus()>& use);

  const Slot slot_;
  prompt::SigningRequest& request_;
  prompt::Secret pin_;
  bool isLoggedIn_ = false;
  /** In a row, without one that was right. */
  int questions_ = 0;
  /** Whether the token has refused the PIN. */
  bool isRefused_ = false;
};

/** Whether the token is there, or not there, as is wanted: readers notice within half a second what is done
 * to them, and NSS asks them once a second. */
bool isPresentSoon(PK11SlotInfo* slot, bool wanted);

/** The last error of NSS; of a card that has left the reader it says what to do. */
NssError lastErrorOf(PK11SlotInfo* slot);

}  // namespace vorn::keys
