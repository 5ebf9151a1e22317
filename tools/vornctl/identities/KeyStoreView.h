#pragma once

#include <Security/Security.h>

#include <string>
#include <vector>

/** Tells people what the host never asks of the key store. Each system has an implementation of its own. */
namespace vorn::vornctl {

struct KeyPlace {
  std::string token;   /**< the name of what holds the private key */
  bool locked = false; /**< it wants a password before any of its keys is used, and asks for none by itself */
  std::string store = {};    /**< the folder of its database, or the library that brings it */
  bool isPinBlocked = false; /**< after wrong ones: no key in it signs until the PIN is unblocked */
};

KeyPlace placeOfKey(SecIdentityRef identity);

/** Certificates as DER bytes. */
using DerCertificates = std::vector<std::string>;

/** Whom to believe who a signer is. */
struct Authorities {
  DerCertificates trusted = {};          /**< a chain that leads to one of them is good */
  DerCertificates peers = {};            /**< trusted for themselves: nobody whom one of them vouches for */
  DerCertificates known = {};            /**< others that may stand on the way, peers among them */
  DerCertificates prohibited = {};       /**< no chain with one of them is good */
  DerCertificates forOtherPurposes = {}; /**< known, and trusted, but not to say who signs */
};

/** The user's certificates, by the trust that the user or an administrator has given them; the lists of
 * authorities that come with a system are not among them. Asks for no password. Nothing where there is no
 * key store. */
Authorities authoritiesOfKeyStore();

}  // namespace vorn::vornctl
