#pragma once

#include <string>

#include "linux/prompt/LockedMemory.h"

namespace vorn::vornctl {

/** Reads the first line of the file or pipe. Throws an InputFault when it cannot be read. */
void readPassword(const std::string& file, prompt::Secret& password);

/**
 * Asks at the terminal, which does not show what is typed, or else by the desktop's prompt. False when there
 * is neither, or the question was given up.
 */
bool askForPassword(const std::string& question, prompt::Secret& password);

}  // namespace vorn::vornctl
