#pragma once

#include <string>
#include <vector>

#include "linux/keys/Consent.h"
#include "linux/keys/Nss.h"
#include "linux/prompt/PinPrompt.h"
#include "linux/x509/X509Certificate.h"

namespace vorn::keys {

/** The words for people of a login: the question, and what is said when it leads to nothing. */
class LoginQuestion {
 public:
  LoginQuestion(PK11SlotInfo* slot, const CK_TOKEN_INFO& token, const x509::Certificate& certificate,
                const Consent::Request& request);

  prompt::Question question(const std::string& warning) const;
  /** The message for a reader on which the PIN is typed. */
  prompt::Question notice(bool wasWrong) const;

  /** Warns of what the token tells before the next try; may be empty. */
  std::string warning(bool wasWrong) const;
  /** Empty when a PIN of that length may be right. */
  std::string wrongLength(std::size_t length) const;

  /** The question for a key that signs without a PIN. */
  prompt::Question confirmation() const;

  NssError unconfirmed(const prompt::Answer& answer) const;
  NssError locked() const;
  NssError expired() const;
  NssError tooManyWrong() const;
  NssError cancelled() const;
  NssError unanswered(const std::string& reason) const;

 private:
  std::string tokenName() const;

  /** "PIN", or "password" for a database. */
  const std::string word_;
  const std::string token_;
  const CK_TOKEN_INFO info_;
  const std::vector<std::string> lines_;
};

}  // namespace vorn::keys
