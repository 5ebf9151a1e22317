#include <sys/stat.h>
#include <unistd.h>

#include <nlohmann/json.hpp>
#include <set>
#include <system_error>
#include <utility>

#include "vornctl/base/InputFile.h"
#include "vornctl/browsers/BrowserFamily.h"
#include "vornctl/doctor/Doctor.h"

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
const std::string* textIn(const json& manifest, const char* member) {
  const auto found = manifest.find(member);
  return found != manifest.end() ? found->get_ptr<const std::string*>() : nullptr;
}

class ManifestReader {
 public:
  ManifestReader(Family family, const fs::path& installedHost)
      : family_(family), installedHost_(installedHost) {}

  ManifestCheck run(const std::string& text) {
    json manifest;
    try {
      manifest = json::parse(text, nullptr, true, /*ignore_comments=*/rules_.takesComments);
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
    if (!rules_.takesOtherMembers) checkMembers(manifest);
    return result_;
  }

 private:
  void blame(Code code, const std::string& cause, const std::string& remedy = {}) {
    result_.refusals.push_back({code, cause, remedy});
  }

  void checkTexts(const json& manifest) {
    const std::string* const name = textIn(manifest, "name");
    if (name == nullptr || *name != kHostName) {
      blame(code::kManifestName, "the manifest's \"name\" is " +
                                     (name == nullptr ? "missing" : "\"" + *name + "\"") +
                                     ", not the name of its file, \"" + kHostName + "\"");
    }
    const std::string* const description = textIn(manifest, "description");
    if (description == nullptr || (description->empty() && !rules_.takesEmptyDescription))
      blame(code::kManifestDescription, "the manifest has no \"description\"");
    const std::string* const type = textIn(manifest, "type");
    if (type == nullptr || *type != "stdio")
      blame(code::kManifestType, "the manifest's \"type\" is not \"stdio\"");
  }

  void checkPath(const json& manifest) {
    const std::string* const path = textIn(manifest, "path");
    if (path == nullptr) return blame(code::kManifestPath, "the manifest has no \"path\" of the host");
    if (!fs::path(*path).is_absolute())
      return blame(code::kManifestPath, "the manifest's \"path\" is not absolute: \"" + *path + "\"");
    result_.host = *path;
    if (const auto fault = checkProgram(*path, installedHost_)) result_.faults.push_back(*fault);
  }

  void checkExtensions(const json& manifest) {
    const char* const member = rules_.allowedMember;
    const auto allowed = manifest.find(member);
    if (allowed == manifest.end() || !allowed->is_array() || allowed->empty()) {
      return blame(code::kManifestNoExtension,
                   std::string("the manifest names no extension in \"") + member + "\"", kGiveId);
    }
    for (const json& entry : *allowed) {
      const std::string text = entry.is_string() ? entry.get<std::string>() : "";
      if (const std::string reason = rules_.refusalOf(text); !reason.empty()) {
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

  void addExtension(const std::string& entry) {
    const std::string id = rules_.idIn(entry);
    const std::string fault = faultOfId(id, family_);
    if (fault.empty())
      result_.extensions.push_back(id);
    else
      result_.oddities.push_back({code::kManifestOddExtension,
                                  "an entry of the manifest stands for no extension: " + fault, kGiveId});
  }

  void checkMembers(const json& manifest) {
    const std::set<std::string> known = {"name", "description", "path", "type", rules_.allowedMember};
    for (const auto& [member, value] : manifest.items())
      if (known.count(member) == 0)
        blame(code::kManifestMember,
              std::string(rules_.title) + " refuses a manifest with the member \"" + member + "\"");
  }

  Family family_;
  const FamilyRules& rules_ = rulesOf(family_);
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
                                           const fs::path& installedHost) try {
  const auto text = readIfThere(file);
  if (!text) return std::nullopt;
  ManifestCheck result = ManifestReader(family, installedHost).run(*text);
  if (auto fault = findForeignWriter(file)) result.faults.push_back(std::move(*fault));
  return result;
} catch (const std::system_error& e) {
  return ManifestCheck{{unreadable(file, e.code())}};
}

}  // namespace vorn::vornctl
