#include "linux/keys/StorePlaces.h"

#include <sys/stat.h>

#include <algorithm>
#include <map>
#include <sstream>
#include <system_error>

#include "shared/base/Platform.h"

namespace vorn::keys {
namespace {

namespace fs = std::filesystem;

constexpr std::size_t kLargestText = 1 << 20;

std::map<fs::path, std::string>& faultsByFile() {
  static auto* const faults = new std::map<fs::path, std::string>;
  return *faults;
}

/** A path that may not be looked into counts as present: to call it absent would be to say that nobody has a
 * certificate. */
bool holdsDatabase(const fs::path& folder) {
  std::error_code failure;
  return fs::exists(folder / "cert9.db", failure) || failure;
}

/** The path as people write it, with ~ for the home folder. */
std::string shortened(const fs::path& folder, const fs::path& home) {
  const std::string path = folder.string();
  const std::string prefix = home.string() + "/";
  return path.starts_with(prefix) ? "~/" + path.substr(prefix.size()) : path;
}

void appendProfiles(const fs::path& root, std::vector<KeyDatabase>& profiles) {
  std::istringstream file(textOfStoreFile(root / "profiles.ini"));
  bool isProfile = false;
  std::map<std::string, std::string> section;
  const auto finish = [&] {
    const std::string path = section["Path"];
    const std::string name = section["Name"].empty() ? path : section["Name"];
    const bool isRelative = section["IsRelative"] != "0";
    if (isProfile && !path.empty())
      profiles.push_back({isRelative ? root / path : fs::path(path), "Firefox: " + name, true});
    section.clear();
  };
  for (std::string line; std::getline(file, line);) {
    if (!line.empty() && line.back() == '\r') line.pop_back();
    if (line.starts_with('[')) {
      finish();
      isProfile = line.starts_with("[Profile");
    } else if (const std::size_t separator = line.find('='); separator != std::string::npos) {
      section[line.substr(0, separator)] = line.substr(separator + 1);
    }
  }
  finish();
}

/** The profiles that Firefox lists for the user, those of its snap and flatpak packages included, in its
 * order. */
std::vector<KeyDatabase> firefoxProfiles() {
  const fs::path home = platform::homeFolder();
  std::vector<KeyDatabase> profiles;
  // Releases from 147 on keep new profiles in the second folder; the others are those of snap and flatpak.
  for (const fs::path& root :
       {home / ".mozilla/firefox", platform::baseFolder("XDG_CONFIG_HOME", ".config") / "mozilla/firefox",
        home / "snap/firefox/common/.mozilla/firefox",
        home / ".var/app/org.mozilla.firefox/.mozilla/firefox"})
    appendProfiles(root, profiles);
  return profiles;
}

}  // namespace

Descriptor openStoreFile(const fs::path& file, off_t bound, std::string& fault) {
  Descriptor descriptor(open(file.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK));
  struct stat status{};
  if (!descriptor || fstat(descriptor.get(), &status) != 0) {
    if (errno != ENOENT && errno != ENOTDIR) fault = std::generic_category().message(errno);
  } else if (!S_ISREG(status.st_mode) || status.st_size > bound) {
    fault = S_ISREG(status.st_mode) ? "it is larger than such files are" : "it is no regular file";
    descriptor.reset();
  }
  return descriptor;
}

std::string textOfStoreFile(const fs::path& file) {
  std::string text;
  std::string fault;
  if (const Descriptor descriptor = openStoreFile(file, kLargestText, fault))
    if (!readAll(descriptor.get(), text, kLargestText)) fault = std::generic_category().message(errno);
  faultsByFile().erase(file);
  if (!fault.empty()) faultsByFile().emplace(file, fault);
  return text;
}

std::vector<StoreFault> fileFaults() {
  std::vector<StoreFault> faults;
  for (const auto& [file, reason] : faultsByFile()) faults.push_back({StoreFault::Kind::kFile, file, reason});
  return faults;
}

std::vector<fs::path> confirmationFiles() {
  return {"/etc/vorn-signing/confirm",
          platform::baseFolder("XDG_CONFIG_HOME", ".config") / "vorn-signing" / "confirm"};
}

std::vector<fs::path> presentConfirmationFiles() {
  std::vector<fs::path> present;
  for (const fs::path& file : confirmationFiles()) {
    std::error_code failure;
    if (fs::symlink_status(file, failure).type() != fs::file_type::not_found) present.push_back(file);
  }
  return present;
}

std::vector<fs::path> sharedDatabaseFolders() {
  return {platform::homeFolder() / fs::path(".pki/nssdb"),
          platform::baseFolder("XDG_DATA_HOME", ".local/share") / "pki" / "nssdb"};
}

std::vector<KeyDatabase> keyDatabases() {
  std::vector<KeyDatabase> databases;
  const auto add = [&databases](KeyDatabase database) {
    std::error_code failure;
    const bool isKnown = std::any_of(databases.begin(), databases.end(), [&](const KeyDatabase& known) {
      return fs::equivalent(known.folder, database.folder, failure);
    });
    if (!isKnown && holdsDatabase(database.folder)) databases.push_back(std::move(database));
  };
  const fs::path home = platform::homeFolder();
  // The first is known by the name that NSS gives it; people see that in other programs too.
  for (const fs::path& folder : sharedDatabaseFolders())
    add({folder, databases.empty() ? "NSS Certificate DB" : shortened(folder, home)});
  for (const KeyDatabase& profile : firefoxProfiles()) add(profile);
  return databases;
}

fs::path sharedDatabaseForWriting() {
  for (const KeyDatabase& database : keyDatabases())
    if (!database.isFirefox) return database.folder;
  return sharedDatabaseFolders().front();
}

}  // namespace vorn::keys
