#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace vorn::keys {

struct FirefoxProfile {
  std::string name;
  std::filesystem::path folder;
};

/** The profiles that Firefox lists for the user, those of its snap and flatpak packages included, in its
 * order. */
std::vector<FirefoxProfile> firefoxProfiles();

}  // namespace vorn::keys
