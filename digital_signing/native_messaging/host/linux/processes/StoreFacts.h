#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

/** What the process for keys tells of key stores. */
namespace vorn::keys {

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
