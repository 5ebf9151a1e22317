#pragma once

#include "linux/frameworks/Security/KeyStoreReport.h"
#include "linux/frameworks/Security/TokenKey.h"

/** The user's key databases and the tokens of the modules that these and the system list. */
namespace vorn::frameworks {

/**
 * Opens all that is there and not open yet, read-only. It stays open for the life of the process: keys that
 * were found in it may be used until the end. What cannot be opened is left out, see `storeFaults`.
 *
 * @return an error when nothing can be searched at all.
 */
OSStatus openKeyStore();

/**
 * What to say of a search without a result: errSecItemNotFound; an error with a text for
 * SecCopyErrorMessageString, such as errSecNotAvailable, when a database that belongs to no program alone
 * could not be read, as it is damaged or another process holds it for itself.
 */
OSStatus statusOfNothingFound();

/** All certificates of all tokens that are present: open tokens before locked ones, hardware before
 * databases, each in the token's order. Needs an open store. */
std::vector<TokenCertificate> listCertificates();

/** All private keys, in the same order, those included that only show their public half. Needs an open store.
 */
std::vector<std::shared_ptr<const TokenKey>> listPrivateKeys();

}  // namespace vorn::frameworks
