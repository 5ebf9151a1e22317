#pragma once

#include <filesystem>
#include <string>

#include "linux/prompt/LockedMemory.h"
#include "vornctl/commands/Commands.h"

/** What the commands have in common that change a key store. */
namespace vorn::vornctl {

/** Reads the first line of the file or pipe. Throws an InputFault when it cannot be read. */
void readPassword(const std::string& file, prompt::Secret& password);

/**
 * Asks at the terminal, which does not show what is typed, or else by the desktop's prompt. False when there
 * is neither, or the question was given up.
 */
bool askForPassword(const std::string& question, prompt::Secret& password);

/** The same for the password of the key store in the folder; `retry` after a wrong one. */
bool askForStorePassword(const std::filesystem::path& folder, bool retry, prompt::Secret& password);

Command importCommand();

}  // namespace vorn::vornctl
