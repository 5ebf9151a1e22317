#include <system_error>

#include "shared/base/Platform.h"
#include "vornctl/doctor/Doctor.h"
#include "vornctl/doctor/Host.h"

namespace vorn::vornctl {

namespace fs = std::filesystem;

/** The bundle that this program is in or beside, and else the one that the installer makes. */
fs::path installedHost() {
  const fs::path bundle = "Vorn Signing.app";
  const fs::path inside = "Contents/MacOS/Vorn Signing";
  const fs::path own = platform::installedPath();
  std::error_code unreadable;
  for (const fs::path& candidate : {own / inside, own / bundle / inside})
    if (fs::is_regular_file(candidate, unreadable)) return candidate;
  return fs::path("/Applications") / bundle / inside;
}

/** The group's bits mean the group there, with an access list or without. */
bool hasAccessList(const fs::path& /*file*/) {
  return false;
}

}  // namespace vorn::vornctl
