#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

/** What there is to know of key stores, on both sides of the process for keys. */
namespace vorn::keys {

/** A folder with certificates and keys in NSS's form. */
struct KeyDatabase {
  std::filesystem::path folder;
  /** The name by which people know the database. */
  std::string title;
  bool isFirefox = false;
};

/** The folders in which a database is looked for that belongs to no program alone; `vornctl import` makes the
 * first. */
std::vector<std::filesystem::path> sharedDatabaseFolders();

/** The databases that are there, each once: the shared ones, then those of Firefox's profiles. */
std::vector<KeyDatabase> keyDatabases();

/** The files, of the computer and of the user, that have each request confirmed by being there. */
std::vector<std::filesystem::path> confirmationFiles();
/** The confirmation files that are there, or that may not be looked for. */
std::vector<std::filesystem::path> presentConfirmationFiles();

/** The first of the shared databases that is there, else the first place for one. */
std::filesystem::path sharedDatabaseForWriting();

struct Token {
  std::string name;
  /** Whether it wants a password before any key in it can be used. */
  bool locked = false;
  /** The folder of its database, or the library that brings it. */
  std::string store = {};
};

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

enum class Trust {
  kNone,
  kForSignatures,    /**< to vouch for persons: an authority for e-mail, clients or objects */
  kForItself,        /**< a peer for e-mail or objects */
  kForOtherPurposes, /**< as an authority for web sites only */
  kProhibited,
};

struct StoredCertificate {
  std::vector<std::uint8_t> der;
  Trust trust = Trust::kNone;
};

}  // namespace vorn::keys
