#include "vornctl/doctor/Host.h"

#include <system_error>

#include "shared/base/Platform.h"

namespace vorn::vornctl {

std::filesystem::path installedHost() {
  constexpr const char* kFile = "vorn-signing";
  const std::filesystem::path folder = std::filesystem::path(platform::installedPath()).parent_path();
  std::error_code unreadable;
  for (const std::filesystem::path& candidate : {folder / kFile, folder.parent_path() / "lib" / kFile / kFile,
                                                 folder.parent_path() / "libexec" / kFile})
    if (std::filesystem::is_regular_file(candidate, unreadable)) return candidate;
  return folder / kFile;
}

}  // namespace vorn::vornctl
