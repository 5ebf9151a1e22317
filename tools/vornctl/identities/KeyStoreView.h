#pragma once

#include <Security/Security.h>

#include <string>
#include <vector>

/** Tells people what the host never asks of the key store. Each system has an implementation of its own. */
namespace vorn::vornctl {

struct KeyPlace {
  std::string token; /**< the name of what holds the private key */
  bool locked =
      false; /**< it wants a password before any key in it can be used, and asks for none by itself */
  std::string store = {};    /**< the folder of its database, or the library that brings it */
  bool isPinBlocked = false; /**< after wrong ones: no key in it signs until the PIN is unblocked */
};

KeyPlace placeOfKey(SecIdentityRef identity);

enum class Trust {
  kNone,
  kForSignatures,    /**< to vouch for persons: an authority for e-mail, clients or objects */
  kForItself,        /**< a peer for e-mail or objects */
  kForOtherPurposes, /**< as an authority for web sites only */
  kForbidden,
};

struct KnownCertificate {
  std::string der;
  Trust trust = Trust::kNone;
};

/**
 * The certificates of the user's, with the trust that the user or an administrator has given them; the lists
 * of authorities that come with a system are not among them. Asks for no password.
 */
std::vector<KnownCertificate> knownCertificates();

}  // namespace vorn::vornctl
