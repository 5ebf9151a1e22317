#pragma once

#include <filesystem>

#include "linux/prompt/LockedMemory.h"
#include "vornctl/commands/Commands.h"

namespace vorn::vornctl {

Command importCommand();

/** Asks at the terminal, or else by the desktop's prompt, for the password of the key store in the folder;
 * `retry` after a wrong one. False when there is neither, or the question was given up. */
bool askForStorePassword(const std::filesystem::path& folder, bool retry, prompt::Secret& password);

}  // namespace vorn::vornctl
