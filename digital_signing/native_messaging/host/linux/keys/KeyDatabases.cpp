#include "linux/keys/KeyDatabases.h"

#include <fcntl.h>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <map>
#include <system_error>

namespace vorn::keys {
namespace {

namespace fs = std::filesystem;

constexpr std::size_t kLargestText = 1 << 20;

std::map<fs::path, std::string>& faultsByFile() {
  static auto* const faults = new std::map<fs::path, std::string>;
  return *faults;
}

std::string environment(const char* name) {
  const char* value = std::getenv(name);
  return value != nullptr ? value : "";
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

}  // namespace

fs::path homeFolder() {
  if (std::string home = environment("HOME"); !home.empty()) return home;
  const passwd* user = getpwuid(getuid());
  return user != nullptr && user->pw_dir != nullptr ? user->pw_dir : "";
}

fs::path baseFolder(const char* variable, const fs::path& belowHome) {
  const fs::path folder = environment(variable);
  return folder.is_absolute() ? folder : homeFolder() / belowHome;
}

int openStoreFile(const fs::path& file, off_t bound, std::string& fault) {
  const int descriptor = open(file.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK);
  struct stat status{};
  if (descriptor < 0 || fstat(descriptor, &status) != 0) {
    if (errno != ENOENT && errno != ENOTDIR) fault = std::generic_category().message(errno);
    return descriptor;
  }
  if (S_ISREG(status.st_mode) && status.st_size <= bound) return descriptor;
  fault = S_ISREG(status.st_mode) ? "it is larger than such files are" : "it is no regular file";
  close(descriptor);
  return -1;
}

std::string textOfStoreFile(const fs::path& file) {
  std::string text;
  std::string fault;
  if (const int descriptor = openStoreFile(file, kLargestText, fault); descriptor >= 0) {
    char part[4096];
    ssize_t length = 0;
    while (text.size() < kLargestText && (length = read(descriptor, part, sizeof part)) > 0)
      text.append(part, static_cast<std::size_t>(length));
    if (length < 0) fault = std::generic_category().message(errno);
    close(descriptor);
  }
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
  return {"/etc/vorn-signing/confirm", baseFolder("XDG_CONFIG_HOME", ".config") / "vorn-signing" / "confirm"};
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
  return {homeFolder() / ".pki" / "nssdb", baseFolder("XDG_DATA_HOME", ".local/share") / "pki" / "nssdb"};
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
  const fs::path home = homeFolder();
  // The first is known by the name that NSS gives it; people see that in other programs too.
  for (const fs::path& folder : sharedDatabaseFolders())
    add({folder, databases.empty() ? "NSS Certificate DB" : shortened(folder, home)});
  for (const FirefoxProfile& profile : firefoxProfiles())
    add({profile.folder, "Firefox: " + profile.name, true});
  return databases;
}

fs::path sharedDatabaseForWriting() {
  for (const KeyDatabase& database : keyDatabases())
    if (!database.isFirefox) return database.folder;
  return sharedDatabaseFolders().front();
}

}  // namespace vorn::keys
