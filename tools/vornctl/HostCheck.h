#pragma once

#include <chrono>
#include <filesystem>
#include <string>
#include <vector>

#include "vornctl/Doctor.h"

namespace vorn::vornctl {

/** How a browser would start a host. */
struct HostStart {
  std::filesystem::path host;
  std::vector<std::string> arguments;
};

/** Starts the host, asks for its version, and has it open its signing module; each answer is waited for so
 * long. The user's log stays as it is. */
std::vector<Finding> checkHost(const HostStart& start,
                               std::chrono::milliseconds patience = std::chrono::seconds(10));

}  // namespace vorn::vornctl
