#pragma once

#include <string>

#include "e2e/Home.h"

namespace reliability {

/**
 * Puts the certificate of Jane Citizen, taken from the prepared homes, on a software token of its own and
 * tells the home's empty key store of that token; a key lies beside it that needs no PIN. The host finds the
 * token by the returned setting of its environment. Throws when the token's library is not installed.
 */
std::string installToken(const e2e::Home& home);

/** The folder that holds the token: without it the token is gone. */
std::filesystem::path tokenFolder(const e2e::Home& home);

}  // namespace reliability
