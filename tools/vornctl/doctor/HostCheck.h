#pragma once

#include <chrono>
#include <filesystem>
#include <string>
#include <vector>

#include "vornctl/doctor/Doctor.h"

namespace vorn::vornctl {

/** How a browser would start a host. */
struct HostStart {
  std::filesystem::path host;
  std::vector<std::string> arguments;
};

/** Starts the host, asks for its version and, if it `searches`, has it look for a certificate, for which it
 * opens its signing module and reads cards. The version is waited for so long, the search twice that. The
 * user's log stays as it is. */
std::vector<Finding> checkHost(const HostStart& start, bool searches = true,
                               std::chrono::milliseconds patience = std::chrono::seconds(10));

}  // namespace vorn::vornctl
