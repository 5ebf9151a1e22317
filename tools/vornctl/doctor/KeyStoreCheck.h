#pragma once

#include <vector>

#include "vornctl/doctor/Doctor.h"

namespace vorn::vornctl {

/** Looks for the user's key store and for an identity in it that could sign. */
std::vector<Finding> checkKeyStore();

}  // namespace vorn::vornctl
