#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <variant>

#include "linux/keys/Nss.h"
#include "linux/processes/StoreFacts.h"
#include "linux/x509/X509Certificate.h"

namespace vorn::keys {

class Consent;

/** A certificate as a token holds it. */
struct TokenCertificate {
  const PK11SlotInfo* slot;
  std::vector<std::uint8_t> der;
  /** The token's identifier that a certificate shares with its key; may be empty. */
  std::vector<std::uint8_t> id;
};

Token describeToken(PK11SlotInfo* slot);

/**
 * A private key that stays in its token.
 *
 * A token that wants a password shows no private keys, but as a rule the public ones that were made with
 * them. A key known by its public half alone is looked up when it is used.
 */
class TokenKey : public std::enable_shared_from_this<TokenKey> {
 public:
  TokenKey(Slot slot, PrivateKeyHandle key);
  TokenKey(Slot slot, const SECKEYPublicKey& publicHalf);
  /** A key that its token shows nothing of but the certificate, which has the same identifier. */
  TokenKey(Slot slot, std::vector<std::uint8_t> id, const x509::Certificate& certificate);

  Token token() const { return describeToken(slot_.get()); }
  bool isRsa() const { return isRsa_; }
  /** RSA only: octets in the modulus, which is the length of a signature. */
  std::size_t modulusLength() const { return modulusLength_; }
  bool canSign() const { return canSign_; }
  /** Whether both are one key in one token. */
  bool isSameAs(const TokenKey& other) const;
  /** Whether this is the certificate's key; `publicKey` is what its SubjectPublicKeyInfo holds. */
  bool belongsTo(const TokenCertificate& certificate, der::Bytes publicKey) const;

  /** RSA only: the signature over `input` as it stands, padded by PKCS#1 v1.5 but not digested. Where the
   * token wants its PIN the user is asked for it, and told of the certificate; without a consent nobody is.
   */
  std::variant<std::vector<std::uint8_t>, NssError> sign(der::Bytes input,
                                                         const x509::Certificate& certificate,
                                                         Consent* consent);
  /** Drops the key, which shows itself again when its token is open. */
  void forget();

 private:
  std::variant<std::vector<std::uint8_t>, NssError> signOnce(der::Bytes input,
                                                             const x509::Certificate& certificate,
                                                             Consent* consent);
  void describe(const SECKEYPublicKey& publicHalf);
  std::optional<NssError> confirm(const x509::Certificate& certificate, Consent* consent);
  void readFlags();
  std::optional<NssError> open(const x509::Certificate& certificate, Consent* consent);
  std::optional<NssError> logIn(const x509::Certificate& certificate, Consent* consent);
  void find(Consent* consent);
  SECKEYPrivateKey* quickKey();

  Slot slot_;
  /** Counts how often a card has come into the slot. */
  int series_ = PK11_GetSlotSeries(slot_.get());
  /** Whether the token shows it only while it is open. */
  bool isHidden_ = true;
  bool wantsPinEachTime_ = false;
  PrivateKeyHandle key_;
  /** The same key as an object of the soft token's memory, and what its database was then. */
  PrivateKeyHandle copy_;
  std::vector<std::int64_t> copiedFrom_;
  bool isRsa_;
  bool canSign_;
  std::vector<std::uint8_t> id_;
  std::vector<std::uint8_t> publicKey_;
  std::size_t modulusLength_ = 0;
};

}  // namespace vorn::keys
