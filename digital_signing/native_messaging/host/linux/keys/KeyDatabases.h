#pragma once

#include <sys/types.h>
#include <filesystem>
#include <string>
#include <vector>

#include "linux/processes/StoreFacts.h"

namespace vorn::keys {

/** $HOME, else the home folder in the system's list of users; may be empty. */
std::filesystem::path homeFolder();

/** The folder that the environment variable names, if it is absolute as the XDG Base Directory standard
 * demands; else the one below the home folder. */
std::filesystem::path baseFolder(const char* variable, const std::filesystem::path& belowHome);

/**
 * Opens a file of a key store to be read, if it is a regular one of at most so many bytes. Never waits: what
 * is a pipe or a device is refused. Returns -1, with the reason in `fault`, when it cannot be used; `fault`
 * stays empty for what is not there.
 */
int openStoreFile(const std::filesystem::path& file, off_t bound, std::string& fault);

/** The text of a file that says which stores there are; empty when it cannot be used, which `fileFaults`
 * tells then. */
std::string textOfStoreFile(const std::filesystem::path& file);

/** The files that `textOfStoreFile` refused when it last read them. */
std::vector<StoreFault> fileFaults();

struct FirefoxProfile {
  std::string name;
  std::filesystem::path folder;
};

/** The profiles that Firefox lists for the user, those of its snap and flatpak packages included, in its
 * order. */
std::vector<FirefoxProfile> firefoxProfiles();

}  // namespace vorn::keys
