#pragma once

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

/** Starts the host, asks for its version, and has it open its signing module. */
std::vector<Finding> checkHost(const HostStart& start);

}  // namespace vorn::vornctl
