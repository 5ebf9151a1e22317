#pragma once

#include "Security/SecBase.h"
#include "linux/processes/StoreFacts.h"

/** Tells people what no function of the mirrored interface tells of the key store. */
namespace vorn::frameworks {

/** The token that holds the identity's private key; without a name when `identity` is none. */
keys::Token tokenOf(SecIdentityRef identity);

/** The places that the last search has looked into. */
std::vector<keys::TokenPlace> tokenPlaces();

/** Why the process for keys gives no answers; empty when it does. */
std::string keyProcessFailure();

/** The stores that the last search of this process left out. */
const std::vector<keys::StoreFault>& storeFaults();

/**
 * Every certificate of the key store, with the trust that its flags give; the lists of authorities that come
 * with a system are none of the user's. Asks for no password. Empty when there is no store.
 */
std::vector<keys::StoredCertificate> listCertificatesWithTrust();

}  // namespace vorn::frameworks
