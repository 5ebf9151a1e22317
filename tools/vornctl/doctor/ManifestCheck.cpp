#include "vornctl/doctor/ManifestCheck.h"

#include <sys/stat.h>
#include <unistd.h>

#include <nlohmann/json.hpp>
#include <set>
#include <system_error>
#include <utility>

#include "vornctl/base/InputFile.h"
#include "vornctl/browsers/ExtensionIds.h"
#include "vornctl/browsers/HostManifest.h"
#include "vornctl/doctor/FileOwners.h"

namespace vorn::vornctl {
namespace {

namespace fs = std::filesystem;
using nlohmann::json;

constexpr const char* kGiveId = "run \"vornctl register --extension-id ID\" with the right id";

bool isStartable(const fs::path& program) {
  std::error_code unreadable;
  return fs::is_regular_file(program, unreadable) && access(program.c_str(), X_OK) == 0;
}

/** The member's text; null when there is none. */
const std::string* textOf(const json& manifest, const char* member) {
  const auto found = manifest.find(member);
  return found != manifest.end() ? found->get_ptr<const std::string*>() : nullptr;
}

class Check {
 public:
  Check(Family family, const fs::path& installedHost) : family_(family), installedHost_(installedHost) {}

  ManifestCheck run(const std::string& text) {
    json manifest;
    try {
      manifest = json::parse(text, nullptr, true, /*ignore_comments=*/family_ == Family::kChromium);
    } catch (const json::parse_error& e) {
      blame(code::kManifestSyntax, std::string("the manifest is no valid JSON (") + e.what() + ")");
      return result_;
    }
    if (!manifest.is_object()) {
      blame(code::kManifestSyntax, "the manifest is no JSON object");
      return result_;
    }
    checkTexts(manifest);
    checkPath(manifest);
    checkExtensions(manifest);
    if (family_ == Family::kFirefox) checkMembers(manifest);
    return result_;
  }

 private:
  void blame(Code code, const std::string& cause, const std::string& remedy = {}) {
    result_.refusals.push_back({code, cause, remedy});
  }

  void checkTexts(const json& manifest) {
    const std::string* const name = textOf(manifest, "name");
    if (name == nullptr || *name != kHostName) {
      blame(code::kManifestName, "the manifest's \"name\" is " +
                                     (name == nullptr ? "missing" : "\"" + *name + "\"") +
                                     ", not the name of its file, \"" + kHostName + "\"");
    }
    const std::string* const description = textOf(manifest, "description");
    if (description == nullptr || (description->empty() && family_ == Family::kChromium))
      blame(code::kManifestDescription, "the manifest has no \"description\"");
    const std::string* const type = textOf(manifest, "type");
    if (type == nullptr || *type != "stdio")
      blame(code::kManifestType, "the manifest's \"type\" is not \"stdio\"");
  }

  void checkPath(const json& manifest) {
    const std::string* const path = textOf(manifest, "path");
    if (path == nullptr) return blame(code::kManifestPath, "the manifest has no \"path\" of the host");
    if (!fs::path(*path).is_absolute())
      return blame(code::kManifestPath, "the manifest's \"path\" is not absolute: \"" + *path + "\"");
    result_.host = *path;
    if (const auto fault = checkProgram(*path, installedHost_)) result_.faults.push_back(*fault);
  }

  void checkExtensions(const json& manifest) {
    const char* const member = family_ == Family::kChromium ? "allowed_origins" : "allowed_extensions";
    const auto allowed = manifest.find(member);
    if (allowed == manifest.end() || !allowed->is_array() || allowed->empty()) {
      return blame(code::kManifestNoExtension,
                   std::string("the manifest names no extension in \"") + member + "\"", kGiveId);
    }
    for (const json& entry : *allowed) {
      const std::string text = entry.is_string() ? entry.get<std::string>() : "";
      if (const std::string reason = refusalOf(text); !reason.empty()) {
        blame(code::kManifestBadExtension,
              "one bad entry in \"" + std::string(member) +
                  "\" makes browsers refuse the whole manifest: " + entry.dump() + ": " + reason,
              kGiveId);
      } else {
        addExtension(text);
      }
    }
    // Chromium would read such a manifest, and let nobody start the host.
    if (result_.extensions.empty() && result_.refusals.empty()) {
      result_.refusals = std::move(result_.oddities);
      result_.oddities.clear();
    }
  }

  /** Why an entry makes the browser refuse the manifest; empty when it does not. */
  std::string refusalOf(const std::string& entry) const {
    if (family_ == Family::kFirefox) return faultOfId(entry);
    if (!entry.starts_with(kChromiumScheme)) return "it does not begin with chrome-extension://";
    const std::string origin = entry.substr(kChromiumScheme.size());
    if (origin.find('/') == std::string::npos) return "the slash at the end is missing";
    return origin.find('*') != std::string::npos ? "browsers accept no wildcards here" : "";
  }

  std::string faultOfId(const std::string& id) const {
    try {
      return familyOfExtension(id) == family_ ? "" : "that is an id for other browsers";
    } catch (const BadExtensionId& e) {
      return e.what();
    }
  }

  void addExtension(const std::string& entry) {
    const bool isOrigin = family_ == Family::kChromium;
    const std::string id = isOrigin ? chromiumIdOf(entry.substr(kChromiumScheme.size())) : entry;
    if (const std::string fault = faultOfId(id); !fault.empty()) {
      result_.oddities.push_back({code::kManifestOddExtension,
                                  "an entry of the manifest stands for no extension: " + fault, kGiveId});
    } else {
      result_.extensions.push_back(id);
    }
  }

  void checkMembers(const json& manifest) {
    static const std::set<std::string> kKnown = {"name", "description", "path", "type", "allowed_extensions"};
    for (const auto& [member, value] : manifest.items())
      if (kKnown.count(member) == 0)
        blame(code::kManifestMember, "Firefox refuses a manifest with the member \"" + member + "\"");
  }

  Family family_;
  const fs::path& installedHost_;
  ManifestCheck result_;
};

/** For a command that changes what may be somebody else's. */
std::string sudoFor(const fs::path& path) {
  struct stat status{};
  return stat(path.c_str(), &status) == 0 && status.st_uid == geteuid() ? "" : "sudo ";
}

/** What on the way to the file keeps the user from reading it. */
Fault unreadable(const fs::path& file, const std::error_code& error) {
  const std::string cause = "the manifest cannot be read: " + error.message();
  fs::path way;
  for (const fs::path& part : file) {
    way /= part;
    const bool isFile = way == file;
    if (access(way.c_str(), isFile ? R_OK : X_OK) == 0) continue;
    return {code::kManifestUnreadable, cause,
            sudoFor(way) + (isFile ? "chmod 644 " : "chmod 755 ") + way.string()};
  }
  return {code::kManifestUnreadable, cause, "remove " + file.string() + ", then run \"vornctl register\""};
}

}  // namespace

std::optional<Fault> checkProgram(const fs::path& program, const fs::path& installedHost) {
  if (isStartable(program)) return std::nullopt;
  std::error_code unreadable;
  if (fs::is_regular_file(program, unreadable)) {
    constexpr fs::perms kForAll = fs::perms::owner_exec | fs::perms::group_exec | fs::perms::others_exec;
    if ((fs::status(program, unreadable).permissions() & kForAll) == kForAll)
      return Fault{
          code::kHostNotExecutable,
          "the host " + program.string() + " is on a file system whose programs may not be started (noexec)",
          "have it mounted without noexec, or install the host elsewhere"};
    return Fault{code::kHostNotExecutable, "the host " + program.string() + " is not executable",
                 sudoFor(program) + "chmod 755 " + program.string()};
  }
  if (program != installedHost && isStartable(installedHost)) {
    return Fault{code::kManifestStale,
                 "the manifest is stale: it names the host " + program.string() +
                     ", which is no longer there; the host is " + installedHost.string(),
                 ""};
  }
  return Fault{code::kHostMissing,
               "the host " + program.string() + " is missing: it has been removed or moved",
               "install the host again, then run \"vornctl register\""};
}

std::optional<ManifestCheck> checkManifest(const fs::path& file, Family family,
                                           const fs::path& installedHost) {
  try {
    const auto text = readIfThere(file);
    if (!text) return std::nullopt;
    ManifestCheck result = Check(family, installedHost).run(*text);
    if (auto fault = findForeignWriter(file)) result.faults.push_back(std::move(*fault));
    return result;
  } catch (const std::system_error& e) {
    return ManifestCheck{{unreadable(file, e.code())}};
  }
}

}  // namespace vorn::vornctl
