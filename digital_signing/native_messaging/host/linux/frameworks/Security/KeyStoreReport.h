#pragma once

#include <filesystem>
#include <string>

#include "Security/SecBase.h"

/** What people want to know of the key store and no function of the mirrored interface tells. */
namespace vorn::frameworks {

/** The folder of the user's database: the first of the usual places that has one; empty when none has. */
std::filesystem::path keyDatabaseFolder();

struct Token {
  std::string name;
  /** Whether it wants a password before any key in it can be used. */
  bool locked = false;
};

/** The token that holds the identity's private key; without a name when `identity` is none. */
Token tokenOf(SecIdentityRef identity);

}  // namespace vorn::frameworks
