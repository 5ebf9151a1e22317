#pragma once

#include "linux/keys/OpenStores.h"
#include "linux/keys/TokenKey.h"

/** The user's key databases and the tokens of the modules that these and the system list. */
namespace vorn::keys {

/** All certificates of all tokens that are present: open tokens before locked ones, hardware before
 * databases, each in the token's order. Needs open stores. */
std::vector<TokenCertificate> listCertificates();

/** All private keys, in the same order, those included that only show their public half. Needs open stores.
 */
std::vector<std::shared_ptr<TokenKey>> listPrivateKeys();

/** The places that the last search has looked into. */
std::vector<TokenPlace> tokenPlaces();

/** All certificates, with the trust that their flags give. */
std::vector<StoredCertificate> listCertificatesWithTrust();

}  // namespace vorn::keys
