#include <sys/xattr.h>

#include <system_error>

#include "shared/base/Platform.h"
#include "vornctl/doctor/Doctor.h"
#include "vornctl/doctor/Host.h"

namespace vorn::vornctl {

namespace fs = std::filesystem;

fs::path installedHost() {
  constexpr const char* kFile = "vorn-signing";
  const fs::path folder = fs::path(platform::installedPath()).parent_path();
  std::error_code unreadable;
  for (const fs::path& candidate : {folder / kFile, folder.parent_path() / "lib" / kFile / kFile,
                                    folder.parent_path() / "libexec" / kFile})
    if (fs::is_regular_file(candidate, unreadable)) return candidate;
  return folder / kFile;
}

bool hasAccessList(const fs::path& file) {
  return lgetxattr(file.c_str(), "system.posix_acl_access", nullptr, 0) > 0;
}

}  // namespace vorn::vornctl
