#include "vornctl/doctor/Checks.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <cerrno>
#include <string>
#include <system_error>

namespace vorn::vornctl {
namespace {

namespace fs = std::filesystem;

struct Reason {
  std::string cause; /**< empty where there is none */
  std::string remedy;
};

/** The rules of the host, which writes into no file but one that is the user's alone. */
Reason reasonOfFile(const fs::path& file, const struct stat& status) {
  const std::string name = file.string();
  if (!S_ISREG(status.st_mode))
    return {S_ISLNK(status.st_mode) ? "it is a symbolic link" : "it is no regular file", "remove " + name};
  if (status.st_uid != geteuid()) return {"it belongs to another user", "remove " + name};
  if (status.st_nlink > 1) return {"it has another name besides this one", "remove " + name};
  // Opening writes nothing, and finds what no permission shows.
  const int descriptor = open(file.c_str(), O_WRONLY | O_APPEND | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC);
  if (descriptor < 0) return {std::generic_category().message(errno), "chmod 600 " + name};
  close(descriptor);
  return {};
}

Reason reasonOfFolder(const fs::path& folder) {
  struct stat status{};
  const std::string own = "let the home folder be yours and writable: " + folder.string();
  if (stat(folder.c_str(), &status) != 0) return {std::generic_category().message(errno), own};
  if (status.st_uid != geteuid() && status.st_uid != 0) return {"its folder belongs to another user", own};
  if (access(folder.c_str(), W_OK | X_OK) != 0) return {std::generic_category().message(errno), own};
  return {};
}

bool isFull(const fs::path& folder) {
  struct statvfs status{};
  return statvfs(folder.c_str(), &status) == 0 && status.f_blocks > 0 &&
         (geteuid() == 0 ? status.f_bfree : status.f_bavail) == 0;
}

}  // namespace

std::optional<Fault> checkLog(const fs::path& home) {
  const fs::path file = home / "vorn-signing.log";
  struct stat status{};
  Reason reason = lstat(file.c_str(), &status) == 0 ? reasonOfFile(file, status) : reasonOfFolder(home);
  if (reason.cause.empty() && isFull(home))
    reason = {std::generic_category().message(ENOSPC), "make room on its file system"};
  if (reason.cause.empty()) return std::nullopt;
  return Fault{code::kLogNotWritable, "the host cannot write its log, " + file.string() + ": " + reason.cause,
               reason.remedy};
}

}  // namespace vorn::vornctl
