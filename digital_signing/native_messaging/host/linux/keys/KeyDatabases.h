#pragma once

#include <vector>

#include "linux/keys/StoreFacts.h"

namespace vorn::keys {

/** $HOME, else the home folder in the system's list of users; may be empty. */
std::filesystem::path homeFolder();

/** The folder that the environment variable names, if it is absolute as the XDG Base Directory standard
 * demands; else the one below the home folder. */
std::filesystem::path baseFolder(const char* variable, const std::filesystem::path& belowHome);

}  // namespace vorn::keys
