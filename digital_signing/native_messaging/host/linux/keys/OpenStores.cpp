#include "linux/keys/OpenStores.h"

#include <algorithm>
#include <cstdint>

#include "linux/keys/WatchedModules.h"
#include "shared/text/Utf8.h"

namespace vorn::keys {
namespace {

namespace fs = std::filesystem;

constexpr PRUint32 kReadOnly =
    NSS_INIT_READONLY | NSS_INIT_NOROOTINIT | NSS_INIT_OPTIMIZESPACE | NSS_INIT_NOMODDB;

constexpr const char* kHeld = "Another process holds the key database for itself";

/** Quotes a value for NSS's configuration language, in which `quote` ends it. */
std::string quotedValue(const std::string& text, char quote) {
  std::string value(1, quote);
  for (const char c : text) {
    if (c == quote || c == '\\') value += '\\';
    value += c;
  }
  return value + quote;
}

// The length of a token's name in PKCS #11.
constexpr std::size_t kTokenNameRoom = 32;

/** One library may be registered several times, by links too. */
fs::path identityOf(const fs::path& library) {
  std::error_code failure;
  return library.is_absolute() ? fs::weakly_canonical(library, failure) : library;
}

}  // namespace

OpenStores& OpenStores::instance() {
  static auto* const stores = new OpenStores;
  return *stores;
}

const OpenStores::Database* OpenStores::databaseOf(const PK11SlotInfo* slot) const {
  const auto found = std::find_if(databases_.begin(), databases_.end(),
                                  [slot](const Database& database) { return database.slot.get() == slot; });
  return found != databases_.end() ? &*found : nullptr;
}

void OpenStores::note(const std::vector<KeyDatabase>& places) {
  for (const KeyDatabase& place : places) {
    const bool isKnown = std::any_of(databases_.begin(), databases_.end(), [&](const Database& database) {
      return database.place.folder == place.folder;
    });
    if (!isKnown) databases_.push_back({place, DatabaseFiles(place.folder)});
  }
}

/** With the first database as that of the library itself; without any when there is none, or it cannot be
 * read. */
Failure OpenStores::startLibrary() {
  if (context_ != nullptr) return {};
  NSSInitParameters parameters{};
  parameters.length = sizeof parameters;
  Database* const first =
      databases_.empty() || databases_.front().place.isFirefox ? nullptr : &databases_.front();
  if (first != nullptr && first->files.unreadable().empty() && !first->files.isHeld()) {
    context_ =
        NSS_InitContext(("sql:" + first->place.folder.string()).c_str(), "", "", "", &parameters, kReadOnly);
    if (context_ != nullptr) first->slot.reset(PK11_GetInternalKeySlot());
    if (context_ != nullptr) return {};
  }
  context_ = NSS_InitContext("", "", "", "", &parameters, kReadOnly | NSS_INIT_NOCERTDB);
  if (context_ != nullptr) return {};
  const NssError error = lastNssError();
  return {error.status, "The key store's library cannot be started (" + error.name + ")"};
}

void OpenStores::openDatabase(Database& database) {
  database.files.open();
  const bool isFree = database.files.waitUntilFree();
  database.failure = isFree ? Failure{} : Failure{errSecNotAvailable, kHeld};
  if (!isFree || database.slot != nullptr) return;
  const std::string& unreadable = database.files.unreadable();
  const std::string folder = database.place.folder.string();
  if (unreadable.empty())
    database.slot.reset(SECMOD_OpenUserDB(
        ("configdir=" + quotedValue("sql:" + folder, '\'') + " flags=readOnly tokenDescription=" +
         quotedValue(std::string(cutUtf8(database.place.title, kTokenNameRoom)), '\''))
            .c_str()));
  if (database.slot != nullptr) return;
  const NssError error = lastNssError();
  // NSS says no more of it than that its module has failed.
  const bool isOutOfMemory = unreadable.empty() && error.status == errSecAllocate;
  database.failure = {isOutOfMemory ? errSecAllocate : errSecNotAvailable,
                      "The key database " + folder + " cannot be opened (" +
                          (unreadable.empty() ? error.name : unreadable) + ")"};
}

std::vector<TokenModule> OpenStores::newModules() {
  std::vector<TokenModule> modules = modulesOfSystem();
  for (const Database& database : databases_)
    for (TokenModule& module : modulesOfDatabase(database.place.folder)) modules.push_back(std::move(module));
  std::set<fs::path> known = loadedLibraries_;
  const auto isKnown = [&known](const TokenModule& module) {
    return !known.insert(identityOf(module.library)).second;
  };
  modules.erase(std::remove_if(modules.begin(), modules.end(), isKnown), modules.end());
  return modules;
}

std::optional<std::string> OpenStores::load(const TokenModule& module) {
  std::string name;
  if (auto fault = WatchedModules::load(module, name)) return fault;
  std::string configuration = "library=" + quotedValue(name, '"') + " name=" + quotedValue(module.name, '"');
  if (!module.parameters.empty()) configuration += " parameters=" + quotedValue(module.parameters, '"');
  if (!module.settings.empty()) configuration += " NSS=" + quotedValue(module.settings, '"');
  Module loaded(SECMOD_LoadUserModule(configuration.data(), nullptr, PR_FALSE));
  if (loaded == nullptr || loaded->loaded == PR_FALSE) {
    const std::string fault = WatchedModules::startFault(name.c_str());
    return fault.empty() ? "it cannot be loaded (" + lastNssError().name + ")" : fault;
  }
  modules_.push_back(std::move(loaded));
  return std::nullopt;
}

Failure OpenStores::openDatabases() {
  note(keyDatabases());
  Failure failure = startLibrary();
  if (failure.status == errSecSuccess)
    for (Database& database : databases_) openDatabase(database);
  return failure;
}

Failure OpenStores::open(const LeftOut& leftOut) {
  if (Failure failure = openDatabases(); failure.status != errSecSuccess) return failure;
  // Readers that were plugged in since.
  for (const Module& module : modules_) SECMOD_UpdateSlotList(module.get());
  moduleFaults_.clear();
  for (const TokenModule& module : newModules()) {
    const auto reason = leftOut.find(module.library);
    const auto fault = reason != leftOut.end() ? std::optional(reason->second) : load(module);
    // Some fail until their device is there: the next search tries again.
    if (fault)
      moduleFaults_.insert(
          {module.library, {StoreFault::Kind::kModule, module.library, *fault, module.registration}});
    else
      loadedLibraries_.insert(identityOf(module.library));
  }
  return {};
}

bool OpenStores::isUsable(const PK11SlotInfo* slot) const {
  const Database* const database = databaseOf(slot);
  return database == nullptr || database->failure.status == errSecSuccess;
}

bool OpenStores::waitUntilFree(const PK11SlotInfo* slot) const {
  const Database* const database = databaseOf(slot);
  return database == nullptr || database->files.waitUntilFree();
}

std::vector<std::int64_t> OpenStores::stateOf(const PK11SlotInfo* slot) const {
  const Database* const database = databaseOf(slot);
  return database != nullptr ? database->files.state() : std::vector<std::int64_t>();
}

/** A database that is opened beside the first says, like that one, that it is internal. */
std::size_t OpenStores::rankOf(const PK11SlotInfo* slot) const {
  const Database* const database = databaseOf(slot);
  return database != nullptr ? 1 + static_cast<std::size_t>(database - databases_.data()) : 0;
}

std::string OpenStores::placeOf(PK11SlotInfo* slot) const {
  if (const Database* const database = databaseOf(slot)) return database->place.folder.string();
  const Module module(PK11_GetModule(slot) != nullptr ? SECMOD_ReferenceModule(PK11_GetModule(slot))
                                                      : nullptr);
  return module != nullptr ? WatchedModules::libraryOf(module->dllName) : "";
}

std::vector<Slot> OpenStores::slots() const {
  std::vector<Slot> slots;
  for (const Module& module : modules_)
    for (int i = 0; i < module->slotCount; ++i) slots.emplace_back(PK11_ReferenceSlot(module->slots[i]));
  for (const Database& database : databases_)
    if (database.slot != nullptr) slots.emplace_back(PK11_ReferenceSlot(database.slot.get()));
  return slots;
}

std::vector<StoreFault> OpenStores::faults() const {
  std::vector<StoreFault> faults;
  for (const Database& database : databases_)
    if (!database.failure.text.empty())
      faults.push_back({StoreFault::Kind::kDatabase, database.place.folder, database.failure.text});
  for (const StoreFault& fault : fileFaults()) faults.push_back(fault);
  for (const auto& [library, fault] : moduleFaults_) faults.push_back(fault);
  return faults;
}

Failure OpenStores::statusOfNothingFound() const {
  const auto unread = std::find_if(databases_.begin(), databases_.end(), [](const Database& database) {
    return !database.place.isFirefox && database.failure.status != errSecSuccess;
  });
  return unread != databases_.end() ? unread->failure : Failure{errSecItemNotFound};
}

}  // namespace vorn::keys
