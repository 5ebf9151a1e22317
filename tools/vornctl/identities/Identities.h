#pragma once

#include <stdexcept>
#include <string>
#include <vector>

#include "vornctl/base/Fault.h"
#include "vornctl/identities/CertificateDescription.h"

/** The identities of the key store, and how the host would choose among them. */
namespace vorn::vornctl {

/** What a request names; a member that is empty is not asked for. */
struct User {
  std::string name = {};
  std::string email = {};
  std::string abn = {};
  std::vector<std::string> akis = {};

  bool isEmpty() const { return name.empty() && email.empty() && abn.empty() && akis.empty(); }
  bool isComplete() const { return !name.empty() && !email.empty() && !abn.empty() && !akis.empty(); }
};

struct IdentityReport {
  CertificateDescription certificate;
  std::string token;
  std::string store;   /**< the folder of its database, or the library that brings the token */
  bool locked = false; /**< its PIN or password is asked for at each request */
  /** Why it would not sign for the user, or for anybody; empty when all tests pass. */
  std::vector<Fault> reasons = {};
  std::string encoded = {}; /**< the certificate's bytes in base64 */
  bool named = false;       /**< it has the name that the user asks for */
  bool selected = false;    /**< the host would take this one */

  /** Whether the host would sign with it: it takes an expired one too, and then fails. */
  bool signs() const { return selected && reasons.empty(); }
};

/** The key store cannot be searched. */
class KeyStoreError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/**
 * Every certificate with a private key, in the order of the search, judged by the host's own
 * tests. Which one signs is said for a complete user only. Throws KeyStoreError; no key
 * store, or an empty one, is an empty list.
 */
std::vector<IdentityReport> examineIdentities(const User& user);

/**
 * An ABN that was typed in groups, as people write it, without blanks unless a certificate has it so: the
 * host compares letter by letter. Throws KeyStoreError.
 */
std::string abnOfCertificates(const std::string& typed);

/**
 * The one of the user's name with the fewest reasons against it; null when
 * none has the name or one is selected.
 */
const IdentityReport* nearestMiss(const std::vector<IdentityReport>& reports);

/** Why a certificate cannot sign, whoever asks for whomever and however its key is kept; empty when it can.
 */
std::vector<Fault> whyItNeverSigns(const CertificateDescription& certificate);

}  // namespace vorn::vornctl
