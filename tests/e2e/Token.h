#pragma once

#include "e2e/HostProcess.h"

namespace e2e {

/** While this file is there the token of installToken is in its reader; it holds the number of tries left. */
std::filesystem::path card(const Home& home);

/** Gives the home a software token with key and certificate of Jane Citizen, written with the options of
 * make-token, and a prompt that gives `answers`. What a host needs to find both, which a browser calls. */
HostOptions installToken(const Home& home, const std::string& answers, const std::string& options = "");

/** The same prompt, for a home that needs no token. */
HostOptions installPrompt(const Home& home, const std::string& answers);

inline const std::string kPin = "73915264";

}  // namespace e2e
