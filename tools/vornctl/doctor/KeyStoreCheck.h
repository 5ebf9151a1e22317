#pragma once

#include <vector>

#include "vornctl/doctor/Doctor.h"

namespace vorn::vornctl {

/** The code for a library that is waited for in vain: whoever asks the key store waits for it again. */
inline constexpr const char* kModuleHangs = "module-hangs";

/** Looks for the user's key store and for an identity in it that could sign. */
std::vector<Finding> checkKeyStore();

}  // namespace vorn::vornctl
