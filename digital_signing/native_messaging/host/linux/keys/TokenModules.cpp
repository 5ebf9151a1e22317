#include "linux/keys/TokenModules.h"

#include <algorithm>
#include <map>
#include <sstream>

#include "linux/keys/StorePlaces.h"
#include "shared/base/Platform.h"

namespace vorn::keys {
namespace {

namespace fs = std::filesystem;

using Settings = std::map<std::string, std::string>;

constexpr const char* kBlanks = " \t\r";
constexpr const char* kProxy = "p11-kit-proxy";
constexpr const char* kHost = "vorn-signing";

std::string trimmed(const std::string& text) {
  const std::size_t first = text.find_first_not_of(kBlanks);
  if (first == std::string::npos) return {};
  return text.substr(first, text.find_last_not_of(kBlanks) - first + 1);
}

/** "key: value" lines; later ones count. */
void readSettings(const fs::path& path, Settings& settings) {
  std::istringstream file(textOfStoreFile(path));
  for (std::string line; std::getline(file, line);) {
    const std::size_t separator = line.find(':');
    if (separator == std::string::npos || trimmed(line).starts_with('#')) continue;
    settings[trimmed(line.substr(0, separator))] = trimmed(line.substr(separator + 1));
  }
}

bool lists(const std::string& words, const std::string& word) {
  constexpr const char* kSeparators = ", \t";
  for (std::size_t start = 0; start < words.size();) {
    const std::size_t end = std::min(words.find_first_of(kSeparators, start), words.size());
    if (words.compare(start, end - start, word) == 0) return true;
    start = end + 1;
  }
  return false;
}

/** Whether it is for the host, which stands in for the proxy; vornctl has to see what the host sees. */
bool isWanted(const Settings& settings) {
  const auto names = [&](const char* key) {
    const auto found = settings.find(key);
    return found != settings.end() && (lists(found->second, kProxy) || lists(found->second, kHost));
  };
  return settings.count("enable-in") > 0 ? names("enable-in") : !names("disable-in");
}

/** The path at which p11-kit looks for a library without a folder: never in the current one. */
fs::path located(const fs::path& library) {
  const fs::path usual = "/usr/lib/" VORN_LIBRARY_ARCHITECTURE "/pkcs11";
  std::error_code failure;
  for (const fs::path& folder : {usual, fs::path("/usr/lib64/pkcs11"), fs::path("/usr/lib/pkcs11")})
    if (fs::exists(folder / library, failure)) return folder / library;
  return usual / library;
}

/** The folders in which each file "*.module" registers a module; its namesake in a later one adds to it. */
std::vector<fs::path> registrationFolders() {
  const fs::path system = "/etc/pkcs11";
  const fs::path user = platform::baseFolder("XDG_CONFIG_HOME", ".config") / "pkcs11";
  Settings settings{{"user-config", "merge"}};
  readSettings(system / "pkcs11.conf", settings);
  if (settings["user-config"] == "merge") readSettings(user / "pkcs11.conf", settings);
  if (settings["user-config"] == "only") return {user / "modules"};
  std::vector<fs::path> folders{"/usr/share/p11-kit/modules", system / "modules"};
  if (settings["user-config"] != "none") folders.push_back(user / "modules");
  return folders;
}

struct Registration {
  Settings settings;
  fs::path file;
};

std::map<std::string, Registration> registrations() {
  std::map<std::string, Registration> found;
  for (const fs::path& folder : registrationFolders()) {
    std::error_code failure;
    for (fs::directory_iterator entry(folder, failure), end; !failure && entry != end;
         entry.increment(failure)) {
      const fs::path& file = entry->path();
      if (file.extension() != ".module") continue;
      Registration& registration = found[file.stem().string()];
      readSettings(file, registration.settings);
      registration.file = file;
    }
  }
  return found;
}

}  // namespace

std::vector<TokenModule> modulesOfSystem() {
  std::vector<TokenModule> modules;
  for (auto& [name, registration] : registrations()) {
    Settings& settings = registration.settings;
    if (!isWanted(settings)) continue;
    const bool isRemote = settings.count("remote") > 0;
    if (isRemote || settings.count("module") > 0) {
      modules.push_back({isRemote ? fs::path("libp11-kit.so.0") : located(settings["module"]), name,
                         registration.file, settings["x-init-reserved"]});
    }
  }
  return modules;
}

std::vector<TokenModule> modulesOfDatabase(const fs::path& folder) {
  std::vector<TokenModule> modules;
  const fs::path list = folder / "pkcs11.txt";
  std::istringstream file(textOfStoreFile(list));
  Settings settings;
  const auto finish = [&] {
    const fs::path library = settings["library"];
    const bool holdsRoots = library.filename().string().starts_with("libnssckbi");
    if (!library.empty() && !holdsRoots)
      modules.push_back({library, settings["name"], list, settings["parameters"], settings["NSS"]});
    settings.clear();
  };
  for (std::string line; std::getline(file, line);) {
    line = trimmed(line);
    const std::size_t separator = line.find('=');
    if (line.empty())
      finish();
    else
      settings[line.substr(0, separator)] = separator != std::string::npos ? line.substr(separator + 1) : "";
  }
  finish();
  return modules;
}

}  // namespace vorn::keys
