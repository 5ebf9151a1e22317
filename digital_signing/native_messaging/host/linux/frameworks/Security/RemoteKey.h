#pragma once

#include <cstdint>
#include <variant>

#include "Security/SecBase.h"
#include "linux/processes/StoreFacts.h"
#include "linux/x509/Der.h"
#include "shared/json/jsonxx.h"

namespace vorn::frameworks {

/** A private key of the process for keys, known by a number. */
class RemoteKey {
 public:
  /** Of an identity in that process's answer. */
  explicit RemoteKey(const jsonxx::Object& identity);
  ~RemoteKey();
  RemoteKey(const RemoteKey&) = delete;
  RemoteKey& operator=(const RemoteKey&) = delete;

  const keys::Token& token() const { return token_; }
  bool isRsa() const { return isRsa_; }
  /** RSA only: octets in the modulus, which is the length of a signature. */
  std::size_t modulusLength() const { return modulusLength_; }

  /** Why there is no signature: the code of an error in the domain "Internal CSSM error", and NSS's name for
   * it, or, where more is known, a sentence for people and a word of ErrorReason.h. */
  struct Refusal {
    OSStatus code;
    std::string name;
    std::string sentence;
    std::string reason = "";
  };
  /** The signature over `input` as it stands, padded by PKCS#1 v1.5 but not digested. Where the token wants
   * its PIN the user is asked for it. */
  std::variant<std::vector<std::uint8_t>, Refusal> sign(const std::vector<std::uint8_t>& input) const;

 private:
  bool findAgain() const;

  const std::string certificate_;
  const keys::Token token_;
  const bool isRsa_;
  const std::size_t modulusLength_;
  mutable int generation_;
  mutable long number_;
};

}  // namespace vorn::frameworks
