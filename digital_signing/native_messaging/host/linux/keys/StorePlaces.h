#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "linux/processes/StoreFacts.h"
#include "shared/base/Descriptor.h"

/** Where key stores are, and the files that say so. */
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

/** Opens a file of a key store to be read, if it is a regular one of at most so many bytes. Never waits: what
 * is a pipe or a device is refused. Returns none, with the reason in `fault`, when it cannot be used;
 * `fault` stays empty for what is not there. */
Descriptor openStoreFile(const std::filesystem::path& file, off_t bound, std::string& fault);

/** The text of a file that says which stores there are; empty when it cannot be used, which `fileFaults`
 * tells then. */
std::string textOfStoreFile(const std::filesystem::path& file);

/** The files that `textOfStoreFile` refused when it last read them. */
std::vector<StoreFault> fileFaults();

}  // namespace vorn::keys
