#include <sys/xattr.h>

#include "vornctl/doctor/FileOwners.h"

namespace vorn::vornctl {

bool hasAccessList(const std::filesystem::path& file) {
  return lgetxattr(file.c_str(), "system.posix_acl_access", nullptr, 0) > 0;
}

}  // namespace vorn::vornctl
