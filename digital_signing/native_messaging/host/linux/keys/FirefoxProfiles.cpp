#include "linux/keys/KeyDatabases.h"

#include <sstream>

namespace vorn::keys {
namespace {

namespace fs = std::filesystem;

/** One section of profiles.ini. */
struct Section {
  bool isProfile = false;
  std::string name = {};
  std::string path = {};
  bool isRelative = true;
};

void readLine(const std::string& line, Section& section) {
  const std::size_t separator = line.find('=');
  if (separator == std::string::npos) return;
  const std::string key = line.substr(0, separator);
  std::string value = line.substr(separator + 1);
  if (key == "Name")
    section.name = std::move(value);
  else if (key == "Path")
    section.path = std::move(value);
  else if (key == "IsRelative")
    section.isRelative = value != "0";
}

void appendProfiles(const fs::path& root, std::vector<FirefoxProfile>& profiles) {
  std::istringstream file(textOfStoreFile(root / "profiles.ini"));
  Section section;
  const auto finish = [&] {
    if (section.isProfile && !section.path.empty())
      profiles.push_back({section.name.empty() ? section.path : section.name,
                          section.isRelative ? root / section.path : fs::path(section.path)});
  };
  for (std::string line; std::getline(file, line);) {
    if (!line.empty() && line.back() == '\r') line.pop_back();
    if (line.starts_with('[')) {
      finish();
      section = Section{line.starts_with("[Profile")};
    } else {
      readLine(line, section);
    }
  }
  finish();
}

}  // namespace

std::vector<FirefoxProfile> firefoxProfiles() {
  const fs::path home = homeFolder();
  std::vector<FirefoxProfile> profiles;
  // Releases from 147 on keep new profiles in the second folder; the others are those of snap and flatpak.
  for (const fs::path& root :
       {home / ".mozilla/firefox", baseFolder("XDG_CONFIG_HOME", ".config") / "mozilla/firefox",
        home / "snap/firefox/common/.mozilla/firefox",
        home / ".var/app/org.mozilla.firefox/.mozilla/firefox"})
    appendProfiles(root, profiles);
  return profiles;
}

}  // namespace vorn::keys
