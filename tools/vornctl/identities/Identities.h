#pragma once

#include <stdexcept>
#include <string>
#include <vector>

#include "shared/json/jsonxx.h"
#include "vornctl/identities/CertificateDescription.h"
#include "vornctl/identities/KeyStoreView.h"

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

/** As requests name the user. */
jsonxx::Object detailsOf(const User& user);

struct IdentityReport {
  CertificateDescription certificate;
  KeyPlace key;
  std::string encoded; /**< the certificate's bytes in base64 */
  /** Why it would not sign for the user, or for anybody; empty when all tests pass. */
  std::vector<Fault> reasons = {};
  bool named = false;    /**< it has the name that the user asks for */
  bool selected = false; /**< the host would take this one */

  /** Whether the host would sign with it: it takes an expired one too, and then fails. */
  bool signs() const { return selected && reasons.empty(); }
};

/** The key store cannot be searched. */
struct KeyStoreError : std::runtime_error {
  using std::runtime_error::runtime_error;
};

/** Every certificate with a private key, in the order of the search, judged by the host's own
 * tests. Which one signs is said for a complete user only. Throws KeyStoreError; no key
 * store, or an empty one, is an empty list. */
std::vector<IdentityReport> examineIdentities(const User& user);

/** An ABN that was typed in groups, as people write it, without blanks unless a certificate has it so: the
 * host compares letter by letter. Throws KeyStoreError. */
std::string abnOfCertificates(const std::string& typed);

/** No signer, or more than one; the text says what to do. */
struct ChoiceError : std::runtime_error {
  using std::runtime_error::runtime_error;
};

/** The user for a request, with what `given` leaves open taken from the only identity that can sign and fits
 * it, and `serial` if that is not empty. Throws ChoiceError, and KeyStoreError. */
User chooseSigner(User given, const std::string& serial);

/** Whether a serial number as people have it is the one that is shown. */
bool isSerial(const std::string& asked, const std::string& shown);

/** A key identifier as requests name it: without the colons or blanks with which programs show it. */
std::string plainKeyIdentifier(const std::string& text);

}  // namespace vorn::vornctl
