#include "vornctl/browsers/Registration.h"

#include <unistd.h>

#include <algorithm>
#include <iterator>
#include <set>
#include <system_error>

#include "vornctl/base/AtomicFile.h"
#include "vornctl/base/InputFile.h"
#include "vornctl/browsers/HostManifest.h"

namespace vorn::vornctl {
namespace {

namespace fs = std::filesystem;

bool isRequested(const Browser& browser, const RegistrationRequest& request) {
  return request.browsers.empty() ||
         std::find(request.browsers.begin(), request.browsers.end(), browser.name) != request.browsers.end();
}

/** A link that leads nowhere exists too. */
bool isThere(const fs::path& path) {
  std::error_code unreadable;
  return fs::exists(fs::symlink_status(path, unreadable));
}

std::string reasonOf(const std::system_error& error, Scope scope) {
  const bool isRefused =
      error.code() == std::errc::permission_denied || error.code() == std::errc::operation_not_permitted;
  return error.code().message() +
         (isRefused && scope == Scope::kSystem && geteuid() != 0 ? "; use sudo" : "");
}

/** Runs a step that changes files; a failure of the system becomes the outcome. */
template <typename Step>
Outcome attempt(const Browser& browser, const fs::path& file, Scope scope, Step step) {
  try {
    return {std::string(browser.title), step(), file, ""};
  } catch (const std::system_error& e) {
    return {std::string(browser.title), Action::kFailed, file, reasonOf(e, scope)};
  }
}

/** A file for every user's browser must not depend on the umask of whoever writes it. */
constexpr mode_t kFileForAll = 0644;
constexpr fs::perms kFolderForAll = fs::perms(0755);

void createFolders(const fs::path& folder, Scope scope) {
  if (folder.empty() || fs::is_directory(folder)) return;
  createFolders(folder.parent_path(), scope);
  fs::create_directory(folder);
  if (scope == Scope::kSystem) fs::permissions(folder, kFolderForAll);
}

Action writeManifest(const fs::path& file, const std::string& text, const RegistrationRequest& request) {
  NewFile kind;
  if (request.scope == Scope::kSystem) kind.mode = kFileForAll;
  mode_t mode = 0;
  if (readIfThere(file, kMostOfFile, &mode) == text && kind.mode.value_or(mode) == mode)
    return Action::kUnchanged;
  if (!request.dryRun) {
    createFolders(file.parent_path(), request.scope);
    writeFileAtomically(file, text, kind);
  }
  return Action::kWritten;
}

std::string missingReason(const Places& places, const Browser& browser) {
  return "not found: no " + places.resolve(browser.profiles.front()).string() +
         ", and not installed; --all writes it anyway";
}

constexpr const char* kNoExtension =
    "no extension for it was given with --extension-id, registered before or configured";

/** One with a folder of its own, as developers and test drivers start it. */
constexpr Browser kOwnChromium{System::kLinux, Family::kChromium, "chromium", "Chromium", {}, {}, {}, {}, {}};

fs::path manifestIn(const std::string& dataFolder) {
  return fs::absolute(dataFolder) / "NativeMessagingHosts" / kManifestFile;
}

/** The browser's folders in which a manifest is written. */
std::vector<fs::path> foldersToWrite(const Places& places, const Browser& browser, Scope scope) {
  const std::vector<fs::path> all = places.manifestFolders(browser, scope);
  std::vector<fs::path> folders;
  std::copy_if(all.begin(), all.end(), std::back_inserter(folders), [&](const fs::path& folder) {
    return folder == all.front() || isThere(folder.parent_path());
  });
  return folders;
}

/** A browser outside of the request that is there and reads the file; null when there is none. */
const Browser* otherReader(const Places& places, const RegistrationRequest& request, const fs::path& file) {
  for (const Browser& browser : browsersOf(places.system())) {
    const auto folders = places.manifestFolders(browser, request.scope);
    if (!isRequested(browser, request) && places.has(browser) &&
        std::find(folders.begin(), folders.end(), file.parent_path()) != folders.end())
      return &browser;
  }
  return nullptr;
}

/** Removes folders that were made for the manifest alone: a browser that has run has more in them. */
void removeEmptyFolders(const Places& places, fs::path folder) {
  std::error_code notEmpty;
  while (!places.isCommon(folder) && folder.has_relative_path() && fs::remove(folder, notEmpty))
    folder = folder.parent_path();
}

/** The extensions that the family's other manifests allow, for a browser that has none yet. */
std::vector<std::string> idsOfOthers(const Places& places, Family family, Scope scope) {
  ExtensionIds ids;
  for (const Browser& browser : browsersOf(places.system())) {
    if (browser.family != family) continue;
    for (const fs::path& folder : places.manifestFolders(browser, scope))
      if (const auto manifest = readManifest(folder / kManifestFile, family))
        for (const std::string& id : manifest->ids) ids.add(id);
  }
  return ids.of(family);
}

}  // namespace

std::string wordFor(Action action, bool dryRun) {
  switch (action) {
    case Action::kWritten:
      return dryRun ? "would write" : "written";
    case Action::kUnchanged:
      return "unchanged";
    case Action::kRemoved:
      return dryRun ? "would remove" : "removed";
    case Action::kKept:
      return "kept";
    case Action::kSkipped:
      return "skipped";
    case Action::kFailed:
      return "failed";
  }
  return "";
}

std::vector<Outcome> registerHost(const Places& places, const RegistrationRequest& request,
                                  const fs::path& host, const RegisteredIds& given) {
  std::vector<Outcome> outcomes;
  const auto skip = [&outcomes](const Browser& browser, const std::string& reason) {
    outcomes.push_back({std::string(browser.title), Action::kSkipped, {}, reason});
  };
  const auto idsFor = [&](const fs::path& file, Family family) {
    const auto present = given.replace ? std::nullopt : readManifest(file, family);
    if (present && !present->ids.empty()) return present->ids;
    if (given.replace || !given.ids.of(family).empty()) return given.ids.of(family);
    return idsOfOthers(places, family, request.scope);
  };
  if (!request.dataFolder.empty()) {
    const fs::path file = manifestIn(request.dataFolder);
    const std::vector<std::string> ids = idsFor(file, kOwnChromium.family);
    if (ids.empty()) return {{kOwnChromium.title.data(), Action::kSkipped, {}, kNoExtension}};
    Outcome outcome = attempt(kOwnChromium, file, Scope::kUser, [&] {
      return writeManifest(file, manifestText(kOwnChromium.family, host, ids), request);
    });
    outcome.ids = ids;
    return {outcome};
  }
  const bool everywhere = request.evenIfMissing || request.scope == Scope::kSystem;
  for (const Browser& browser : browsersOf(places.system())) {
    if (!isRequested(browser, request)) continue;
    if (!everywhere && !places.has(browser)) {
      if (browser.isChannel()) continue;
      skip(browser, missingReason(places, browser));
      outcomes.back().isMissing = true;
      continue;
    }
    for (const fs::path& folder : foldersToWrite(places, browser, request.scope)) {
      const fs::path file = folder / kManifestFile;
      const std::vector<std::string> ids = idsFor(file, browser.family);
      if (ids.empty()) {
        skip(browser, kNoExtension);
        break;
      }
      outcomes.push_back(attempt(browser, file, request.scope, [&] {
        return writeManifest(file, manifestText(browser.family, host, ids), request);
      }));
      outcomes.back().ids = ids;
    }
  }
  return outcomes;
}

std::vector<Outcome> unregisterHost(const Places& places, const RegistrationRequest& request) {
  std::vector<Outcome> outcomes;
  if (!request.dataFolder.empty()) {
    const fs::path file = manifestIn(request.dataFolder);
    if (isThere(file))
      outcomes.push_back(attempt(kOwnChromium, file, Scope::kUser, [&] {
        if (!request.dryRun) fs::remove(file);
        return Action::kRemoved;
      }));
    return outcomes;
  }
  std::set<fs::path> seen;
  for (const Browser& browser : browsersOf(places.system())) {
    if (!isRequested(browser, request)) continue;
    for (const fs::path& folder : places.manifestFolders(browser, request.scope)) {
      const fs::path file = folder / kManifestFile;
      if (!isThere(file) || !seen.insert(file).second) continue;
      if (!request.onlyOfHost.empty()) {
        const auto manifest = readManifest(file, browser.family);
        if (!manifest || manifest->host != request.onlyOfHost) {
          outcomes.push_back({std::string(browser.title), Action::kKept, file, "it is of another host"});
          continue;
        }
      }
      if (const Browser* reader = otherReader(places, request, file)) {
        outcomes.push_back(
            {std::string(browser.title), Action::kKept, file, std::string(reader->title) + " reads it too"});
        continue;
      }
      outcomes.push_back(attempt(browser, file, request.scope, [&] {
        if (!request.dryRun) {
          fs::remove(file);
          removeEmptyFolders(places, folder);
        }
        return Action::kRemoved;
      }));
    }
  }
  return outcomes;
}

}  // namespace vorn::vornctl
