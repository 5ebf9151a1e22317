#include "vornctl/doctor/FileOwners.h"

#include <grp.h>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <deque>
#include <string>
#include <system_error>

namespace vorn::vornctl {
namespace {

namespace fs = std::filesystem;

constexpr int kMostLinks = 40;  // as many as the system follows

std::string nameOf(uid_t user) {
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
    return faultOf(path, "belongs to " + nameOf(status.st_uid), "chown " + nameOf(geteuid()));
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

}  // namespace vorn::vornctl
