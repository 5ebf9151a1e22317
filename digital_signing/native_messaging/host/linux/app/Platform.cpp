#include "shared/Platform.h"

#include <pwd.h>
#include <sys/auxv.h>
#include <sys/utsname.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <system_error>

namespace vorn {

namespace platform {

std::string homeFolder() {
  const char* home = std::getenv("HOME");
  if (home == nullptr || *home == '\0') {
    const passwd* const user = getpwuid(getuid());
    home = user != nullptr ? user->pw_dir : nullptr;
  }
  std::string path = home != nullptr ? home : "";
  while (path.size() > 1 && path.back() == '/') path.pop_back();
  return path;
}

SystemVersion systemVersion() {
  SystemVersion version;
  utsname names{};
  if (uname(&names) == 0) {
    // "6.1.0-18-amd64": what does not look like a number is left at 0.
    std::sscanf(names.release, "%d.%d.%d", &version.major, &version.minor, &version.bugFix);
  }
  return version;
}

std::string installedPath() {
  std::error_code failure;
  const std::filesystem::path program = std::filesystem::read_symlink("/proc/self/exe", failure);
  if (!program.empty()) return program.string();
  // Without /proc: what the kernel was told to execute.
  const auto* const executed = reinterpret_cast<const char*>(getauxval(AT_EXECFN));
  return executed != nullptr ? std::filesystem::canonical(executed, failure).string() : "";
}

}  // namespace platform

}  // namespace vorn
