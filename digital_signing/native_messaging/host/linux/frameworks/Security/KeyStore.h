#pragma once

#include "linux/frameworks/Security/KeyStoreReport.h"
#include "linux/frameworks/Security/TokenKey.h"

/** The user's key database and the tokens whose modules it lists. */
namespace vorn::frameworks {

/**
 * Opens the database, read-only, unless it is open. It stays open for the life of the process: keys that were
 * found in it may be used until the end.
 *
 * @return errSecItemNotFound when there is none; errSecNotAvailable, with a text for
 * SecCopyErrorMessageString, when it cannot be read or another process holds it for itself.
 */
OSStatus openKeyStore();

/** All certificates of all tokens that are present, hardware first, each in the token's order. Needs an open
 * store. */
std::vector<TokenCertificate> listCertificates();

/** All private keys, in the same order, those included that only show their public half. Needs an open store.
 */
std::vector<std::shared_ptr<const TokenKey>> listPrivateKeys();

}  // namespace vorn::frameworks
