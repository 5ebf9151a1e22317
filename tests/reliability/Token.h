#pragma once

#include <string>
#include <vector>

#include "e2e/Home.h"

namespace reliability {

/**
 * Puts the certificate of Jane Citizen, taken from the prepared homes, on a software token of its own and
 * tells the home's empty key store of that token; a key lies beside it that needs no PIN. The host finds the
 * token by the returned settings of its environment. Throws when the token's library is not installed.
 */
std::vector<std::string> installToken(const e2e::Home& home);

/** While this file is there the token is in its reader, as a card. */
std::filesystem::path card(const e2e::Home& home);

}  // namespace reliability
