#pragma once

#include <filesystem>

namespace vorn::vornctl {

/**
 * The host that is installed with this program: beside it, or in the folder
 * for programs that people do not call.
 */
std::filesystem::path installedHost();

}  // namespace vorn::vornctl
