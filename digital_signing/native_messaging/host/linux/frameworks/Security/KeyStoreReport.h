#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "Security/SecBase.h"

/** What people want to know of the key store and no function of the mirrored interface tells. */
namespace vorn::frameworks {

/** A folder with certificates and keys in NSS's form. */
struct KeyDatabase {
  std::filesystem::path folder;
  /** How people know it. */
  std::string title;
  bool isFirefox = false;
};

/** Where a database is looked for that belongs to no program alone, the one that `vornctl import` makes
 * first. */
std::vector<std::filesystem::path> sharedDatabaseFolders();

/** The databases that are there, each once: the shared ones, then those of Firefox's profiles. */
std::vector<KeyDatabase> keyDatabases();

struct Token {
  std::string name;
  /** Whether it wants a password before any key in it can be used. */
  bool locked = false;
  /** The folder of its database, or the library that brings it. */
  std::string store = {};
};

/** The token that holds the identity's private key; without a name when `identity` is none. */
Token tokenOf(SecIdentityRef identity);

/** A part of the key store that cannot be used, and why. */
struct StoreFault {
  enum class Kind { kDatabase, kModule, kFile };

  Kind kind;
  /** The folder, the library, or the file that was to say what stores there are. */
  std::filesystem::path place;
  std::string reason;
  /** The file that has the library used; empty for a database. */
  std::filesystem::path registration = {};
};

/** A place for a token, a reader for instance, and what is in it. */
struct TokenPlace {
  /** Of the token; of the place when there is none in it. */
  std::string name;
  /** As in Token. */
  std::string store;
  /** Whether it is no database: what follows is of such alone. */
  bool isCard = false;
  bool isIn = false;
  bool asksForPin = false;
  bool isPinBlocked = false;
  /** One more wrong PIN blocks it. */
  bool isLastTry = false;
  /** Whether it shows a certificate to those who have not given the PIN. */
  bool showsCertificate = false;
};

/** The places that the last search has looked into. */
std::vector<TokenPlace> tokenPlaces();

/** What the last search of this process has had to leave out. */
std::vector<StoreFault> storeFaults();

}  // namespace vorn::frameworks
