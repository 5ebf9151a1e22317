#pragma once

#include <filesystem>
#include <optional>

#include "vornctl/base/Fault.h"

namespace vorn::vornctl {

/** What keeps the host from writing its log into this home folder; none when nothing does. Writes nothing. */
std::optional<Fault> checkLog(const std::filesystem::path& home);

}  // namespace vorn::vornctl
