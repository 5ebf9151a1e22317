#include "vornctl/doctor/Host.h"

#include <system_error>

#include "shared/base/Platform.h"

namespace vorn::vornctl {

/** The bundle that this program is in or beside, and else the one that the installer makes. */
std::filesystem::path installedHost() {
  const std::filesystem::path bundle = "Vorn Signing.app";
  const std::filesystem::path inside = "Contents/MacOS/Vorn Signing";
  const std::filesystem::path own = platform::installedPath();
  std::error_code unreadable;
  for (const std::filesystem::path& candidate : {own / inside, own / bundle / inside})
    if (std::filesystem::is_regular_file(candidate, unreadable)) return candidate;
  return std::filesystem::path("/Applications") / bundle / inside;
}

}  // namespace vorn::vornctl
