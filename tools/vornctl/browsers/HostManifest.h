#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "vornctl/browsers/ExtensionIds.h"

namespace vorn::vornctl {

/** The name by which extensions call the host. Browsers demand small letters, digits, dots and underscores.
 */
inline constexpr const char* kHostName = "vorn.signing";

/** The name of the manifest in any of the folders. */
inline const std::string kManifestFile = std::string(kHostName) + ".json";

/** Before the id of an extension in a manifest of Chromium's; behind it comes a slash. */
inline constexpr std::string_view kChromiumScheme = "chrome-extension://";

/**
 * The text of a manifest. Firefox refuses one with a member that it does not
 * know, so that each family has its own.
 */
std::string manifestText(Family family, const std::filesystem::path& host,
                         const std::vector<std::string>& ids);

/** The members of a manifest that can be read, whether it is good or not. */
struct ManifestContents {
  std::string host = {};             /**< empty where there is none */
  std::vector<std::string> ids = {}; /**< those that are well-formed */
};

/** None where there is no such file, and where it cannot be read. */
std::optional<ManifestContents> readManifest(const std::filesystem::path& file, Family family);

}  // namespace vorn::vornctl
