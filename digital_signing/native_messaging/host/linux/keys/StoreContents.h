#pragma once

#include "linux/keys/OpenStores.h"
#include "linux/keys/TokenKey.h"

/** What is in the tokens of the stores that are open. */
namespace vorn::keys {

/** All certificates of all tokens that are present: open tokens before locked ones, hardware before
 * databases, each in the token's order. Needs open stores. */
std::vector<TokenCertificate> listCertificates();

/** All private keys, in the same order, with those that only show their public half. Needs open stores. */
std::vector<std::shared_ptr<TokenKey>> listPrivateKeys();

/** The places that the last search has looked into. */
std::vector<TokenPlace> tokenPlaces();

/** The trust that the flags of the certificate give; nothing for what is no certificate. */
std::optional<Trust> trustOf(const TokenCertificate& stored);

}  // namespace vorn::keys
