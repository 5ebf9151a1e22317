#include <fcntl.h>
#include <grp.h>
#include <pwd.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <cerrno>
#include <deque>
#include <system_error>

#include "shared/base/Descriptor.h"
#include "vornctl/doctor/Doctor.h"

namespace vorn::vornctl {
namespace {

namespace fs = std::filesystem;

constexpr int kMostLinks = 40;  // as many as the system follows

std::string userName(uid_t user) {
  const passwd* const entry = getpwuid(user);
  return entry != nullptr ? entry->pw_name : std::to_string(user);
}

/** Whether the group is the owner's own: many systems give each user one, and files that it may write. */
bool isOwnersAlone(gid_t group, uid_t owner) {
  const passwd* const user = getpwuid(owner);
  if (user == nullptr || user->pw_gid != group) return false;
  const std::string name = user->pw_name;
  const ::group* const entry = getgrgid(group);
  if (entry == nullptr || name != entry->gr_name) return false;
  for (char** member = entry->gr_mem; *member != nullptr; ++member)
    if (name != *member) return false;
  return true;
}

Fault faultOf(const fs::path& path, const std::string& who, const std::string& command) {
  return {code::kForeignWriter, "others can change what runs as the host: " + path.string() + " " + who,
          command + " " + path.string()};
}

std::optional<Fault> faultOf(const fs::path& path, const struct stat& status) {
  if (status.st_uid != 0 && status.st_uid != geteuid())
    return faultOf(path, "belongs to " + userName(status.st_uid), "chown " + userName(geteuid()));
  if (S_ISLNK(status.st_mode) || (S_ISDIR(status.st_mode) && (status.st_mode & S_ISVTX) != 0))
    return std::nullopt;
  if ((status.st_mode & S_IWOTH) != 0) return faultOf(path, "can be written by everybody", "chmod o-w");
  if ((status.st_mode & S_IWGRP) == 0) return std::nullopt;
  // With an access list these bits are no group's, but the most that anybody of the list may do.
  if (hasAccessList(path)) return faultOf(path, "can be written by whom its access list names", "setfacl -b");
  if (!isOwnersAlone(status.st_gid, status.st_uid))
    return faultOf(path, "can be written by a group", "chmod g-w");
  return std::nullopt;
}

/** Why the log cannot be written, and what to do about it; both empty when it can. */
using LogFault = std::pair<std::string, std::string>;

/** The rules of the host, which writes into no file but one that is the user's alone. */
LogFault faultOfLog(const fs::path& file, const struct stat& status) {
  const std::string name = file.string();
  if (!S_ISREG(status.st_mode))
    return {S_ISLNK(status.st_mode) ? "it is a symbolic link" : "it is no regular file", "remove " + name};
  if (status.st_uid != geteuid()) return {"it belongs to another user", "remove " + name};
  if (status.st_nlink > 1) return {"it has another name besides this one", "remove " + name};
  // Opening writes nothing, and finds what no permission shows.
  if (!Descriptor(open(file.c_str(), O_WRONLY | O_APPEND | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC)))
    return {std::generic_category().message(errno), "chmod 600 " + name};
  return {};
}

LogFault faultOfFolder(const fs::path& folder) {
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

std::optional<Fault> findForeignWriter(const fs::path& file) {
  std::error_code unreadable;
  fs::path path = "/";
  std::deque<fs::path> names;  // still to be gone through from `path`
  const auto prepend = [&names](const fs::path& part) {
    names.insert(names.begin(), part.begin(), part.end());
  };
  prepend(fs::absolute(file, unreadable).relative_path());
  for (int links = 0; links <= kMostLinks;) {
    struct stat status{};
    if (lstat(path.c_str(), &status) != 0) return std::nullopt;
    if (auto fault = faultOf(path, status)) return fault;
    if (S_ISLNK(status.st_mode)) {
      const fs::path target = fs::read_symlink(path, unreadable);
      path = target.is_absolute() ? fs::path("/") : path.parent_path();
      prepend(target.relative_path());
      ++links;
      continue;
    }
    if (names.empty()) return std::nullopt;
    path = names.front() == ".." ? path.parent_path() : path / names.front();
    names.pop_front();
  }
  return std::nullopt;
}

std::optional<Fault> findForeignWriterOfHost(const fs::path& host) {
  if (auto fault = findForeignWriter(host)) return fault;
  std::error_code unreadable;
  const fs::path folder = fs::canonical(host, unreadable).parent_path();
  for (const auto& entry : fs::directory_iterator(folder, unreadable)) {
    const std::string name = entry.path().filename().string();
    if (name.find(".so") == std::string::npos && !name.starts_with("vorn-signing")) continue;
    if (auto fault = findForeignWriter(entry.path())) return fault;
  }
  return std::nullopt;
}

std::optional<Fault> checkLog(const fs::path& home) {
  const fs::path file = home / "vorn-signing.log";
  struct stat status{};
  auto [why, remedy] = lstat(file.c_str(), &status) == 0 ? faultOfLog(file, status) : faultOfFolder(home);
  if (why.empty() && isFull(home)) {
    why = std::generic_category().message(ENOSPC);
    remedy = "make room on its file system";
  }
  if (why.empty()) return std::nullopt;
  return Fault{code::kLogNotWritable, "the host cannot write its log, " + file.string() + ": " + why, remedy};
}

}  // namespace vorn::vornctl
