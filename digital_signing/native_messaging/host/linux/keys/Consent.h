#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "linux/keys/Nss.h"
#include "linux/prompt/LockedMemory.h"
#include "linux/x509/X509Certificate.h"

namespace vorn::keys {

class LoginQuestion;
class TokenKey;
class TokenLogin;

/** What the user agrees to by a PIN or by word: to have the documents of the request at hand signed, and
 * nothing else. Without one nobody is asked. Tokens that were opened for it close with it. */
class Consent {
 public:
  struct Request {
    /** The extension, as the browser names it; "none" when no browser has started the host. */
    std::string caller;
    std::size_t documents;
  };

  explicit Consent(Request request) : request_(std::move(request)) {}
  ~Consent();

  const Request& request() const { return request_; }
  bool isGiven() const { return isGiven_; }
  void give() { isGiven_ = true; }
  TokenLogin& loginTo(PK11SlotInfo* slot);
  /** The key shows itself only while its token is open: it is forgotten when that closes. */
  void closeAtEnd(std::weak_ptr<TokenKey> key) { opened_.push_back(std::move(key)); }

 private:
  const Request request_;
  bool isGiven_ = false;
  std::vector<std::unique_ptr<TokenLogin>> logins_;
  std::vector<std::weak_ptr<TokenKey>> opened_;
};

/** The consent as it concerns one token, with the PIN. The token is logged out, and the PIN wiped, when it
 * ends. */
class TokenLogin {
 public:
  TokenLogin(PK11SlotInfo* slot, Consent& consent);
  ~TokenLogin();

  /** Asks for the PIN, and opens the token with it. Nothing when it is open then, else why not. */
  std::optional<NssError> logIn(const x509::Certificate& certificate);

  /** Has the user confirm the request, unless a PIN has done that. Nothing when it is, else why not. */
  std::optional<NssError> confirm(const x509::Certificate& certificate);

  /** Calls `use`, in which the token wants its PIN, with the PIN that is held, or that is asked for; again
   * while it is wrong. `use` hands NSS the context that it is given, and returns what NSS does. Nothing on
   * success, else why not. */
  std::optional<NssError> withPin(const x509::Certificate& certificate,
                                  const std::function<SECStatus(void* context)>& use);

  /** Wipes the PIN early: the login lasts, and no key wants the PIN again. */
  void forgetPin() { pin_.wipe(); }
  bool isTo(const PK11SlotInfo* slot) const { return slot_.get() == slot; }

 private:
  static char* answerToNss(PK11SlotInfo* slot, PRBool retry, void* context);
  std::optional<NssError> ask(const LoginQuestion& question, std::string warning);
  SECStatus run(const std::function<SECStatus(void*)>& use);

  const Slot slot_;
  Consent& consent_;
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
