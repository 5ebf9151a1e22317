#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "linux/prompt/LockedMemory.h"

/** Writes into key databases, and reads PKCS #12 files, in which authorities hand out keys. */
namespace vorn::keys {

struct Pkcs12Certificate {
  std::vector<std::uint8_t> der;
  /** Whether the file has its private key. */
  bool hasKey = false;
};

enum class Pkcs12Status {
  kFine,
  kWrongPassword,
  /** It is no such file, or a damaged one. */
  kMalformed,
  /** A try of its password would take minutes, or years. */
  kTooSlow,
  /** The key store wants a password that was not given, or cannot be written. */
  kStoreLocked,
  kStoreFailed,
  kAlreadyThere,
};

struct Pkcs12Result {
  Pkcs12Status status = Pkcs12Status::kFine;
  /** The library's word for what failed. */
  std::string detail = {};
  std::vector<Pkcs12Certificate> certificates = {};
};

/** Decrypts the file. `password` is UTF-8. Nothing is kept of either. */
Pkcs12Result readPkcs12(std::span<const std::uint8_t> file, std::string_view password);

/** Gives the password of the key store, when it has one; false to give up. `retry` after a wrong one. */
using AskStorePassword = std::function<bool(bool retry, prompt::Secret& password)>;

/** Puts all keys and certificates of the file into the database in `folder`, which is made, for the user
 * alone and without a password, when there is none. Must not be called once the process has searched for
 * identities. */
Pkcs12Result importPkcs12(std::span<const std::uint8_t> file, std::string_view password,
                          const std::filesystem::path& folder, const AskStorePassword& askStorePassword);

/** How a certificate in a database is changed. */
enum class Change {
  kRemoveWithKey,
  kTrust, /**< its flags make it an authority that vouches for persons; it is put there if need be */
  kTrustNoMore,
};

/** Only databases are changed so, never a card. Asks and needs as importPkcs12. */
Pkcs12Result changeStore(Change change, std::span<const std::uint8_t> certificate,
                         const std::filesystem::path& folder, const AskStorePassword& askStorePassword);

/** These functions as the library kKeyFilesLibrary offers them, so that vornctl starts without NSS. What a
 * caller's question for the password throws passes through. */
struct KeyFiles {
  const char* build; /**< kBuildId; the rest is as it is here only when it is the same */
  decltype(&readPkcs12) read;
  decltype(&importPkcs12) import;
  decltype(&changeStore) change;
};
inline constexpr const char* kKeyFilesLibrary = "vorn-key-files.so";
inline constexpr const char* kKeyFilesSymbol = "vornKeyFiles";

}  // namespace vorn::keys
