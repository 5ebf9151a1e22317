#pragma once

#include <filesystem>
#include <string>

#include "vornctl/ExtensionIds.h"

namespace vorn::vornctl {

/** What extensions call the host by. Browsers demand small letters, digits, dots and underscores. */
inline constexpr const char* kHostName = "vorn.signing";

/** The name of the manifest in any of the folders. */
inline const std::string kManifestFile = std::string(kHostName) + ".json";

/**
 * The text of a manifest. Firefox refuses one with a member that it does not
 * know, so that each family has its own.
 */
std::string manifestText(Family family, const std::filesystem::path& host, const ExtensionIds& ids);

}  // namespace vorn::vornctl
