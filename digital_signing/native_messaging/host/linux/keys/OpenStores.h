#pragma once

#include <nss.h>
#include <secmod.h>

#include <cstdint>
#include <map>
#include <optional>
#include <set>

#include "linux/keys/DatabaseFiles.h"
#include "linux/keys/Nss.h"
#include "linux/keys/StorePlaces.h"
#include "linux/keys/TokenModules.h"

namespace vorn::keys {

using Module = std::unique_ptr<SECMODModule, NssRelease<SECMOD_DestroyModule>>;

/** The databases and modules that this process has opened. They stay open for its life: keys that were found
 * in them may be used until the end. */
class OpenStores {
 public:
  static OpenStores& instance();

  /** Libraries to leave alone, with why. */
  using LeftOut = std::map<std::filesystem::path, std::string>;

  /** Opens the databases that are there and not open yet, read-only. What cannot be opened is in `faults`; an
   * error is returned when the library itself cannot be started. */
  Failure openDatabases();
  /** The same, and loads the modules that are not loaded yet. */
  Failure open(const LeftOut& leftOut);

  /** Whether the token's database could be read at the last `open`; true for what is no database. */
  bool isUsable(const PK11SlotInfo* slot) const;
  /** Waits for a writer of the token's database, but not for long. */
  bool waitUntilFree(const PK11SlotInfo* slot) const;
  /** A value that differs once anybody has written to the token's database. */
  std::vector<std::int64_t> stateOf(const PK11SlotInfo* slot) const;
  /** The place in the order in which tokens are asked: cards first, then the databases as they are listed. */
  std::size_t rankOf(const PK11SlotInfo* slot) const;
  /** The folder of the token's database, or the library that brings it. */
  std::string placeOf(PK11SlotInfo* slot) const;

  /** The slots of the modules, then those of the databases that are open. */
  std::vector<Slot> slots() const;
  /** The stores that the last `open` could not use, databases first. */
  std::vector<StoreFault> faults() const;
  /** The status of a search that has found nothing: an error, with its text, when a database that belongs to
   * no program alone could not be read. */
  Failure statusOfNothingFound() const;

 private:
  struct Database {
    KeyDatabase place;
    DatabaseFiles files;
    Slot slot = nullptr;
    Failure failure = {};
  };

  OpenStores() = default;
  void note(const std::vector<KeyDatabase>& places);
  Failure startLibrary();
  void openDatabase(Database& database);
  /** The libraries that have not been loaded. */
  std::vector<TokenModule> newModules();
  /** None, or why it cannot be loaded. */
  std::optional<std::string> load(const TokenModule& module);
  const Database* databaseOf(const PK11SlotInfo* slot) const;

  NSSInitContext* context_ = nullptr;
  std::vector<Database> databases_;
  std::set<std::filesystem::path> loadedLibraries_;
  std::vector<Module> modules_;
  std::map<std::filesystem::path, StoreFault> moduleFaults_;
};

}  // namespace vorn::keys
