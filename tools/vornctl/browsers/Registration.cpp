#include "vornctl/browsers/Registration.h"

#include <unistd.h>

#include <algorithm>
#include <iterator>
#include <set>
#include <system_error>

#include "vornctl/base/AtomicFile.h"
#include "vornctl/base/InputFile.h"

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

/** Runs a step that changes files; a failure of the system is the change then. */
template <typename Step>
ManifestChange attempt(const Browser& browser, const fs::path& file, Scope scope, Step step) try {
  return {std::string(browser.title), step(), file, ""};
} catch (const std::system_error& e) {
  const bool isRefused =
      e.code() == std::errc::permission_denied || e.code() == std::errc::operation_not_permitted;
  const bool needsRoot = isRefused && scope == Scope::kSystem && geteuid() != 0;
  return {std::string(browser.title), Action::kFailed, file,
          e.code().message() + (needsRoot ? "; use sudo" : "")};
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

constexpr const char* kNoExtension =
    "no extension for it was given with --extension-id, registered before or configured";

/** One with a folder of its own, as developers and test drivers start it. */
constexpr Browser kOwnChromium{Family::kChromium, "chromium", "Chromium", {}, {}, {}, {}, {}};

fs::path manifestIn(const std::string& dataFolder) {
  return fs::absolute(dataFolder) / kFolderOfChromium / kManifestFile;
}

/** The browser's folders in which a manifest is written. */
std::vector<fs::path> foldersToWrite(const Places& places, const Browser& browser, Scope scope) {
  std::vector<fs::path> folders = places.manifestFolders(browser, scope);
  const fs::path first = folders.front();
  std::erase_if(folders,
                [&](const fs::path& folder) { return folder != first && !isThere(folder.parent_path()); });
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
  static constexpr const char* kWords[] = {"written", "unchanged", "removed", "kept",
                                           "skipped", "missing",   "failed"};
  static constexpr const char* kDryWords[] = {"would write", "unchanged", "would remove", "kept",
                                              "skipped",     "missing",   "failed"};
  return (dryRun ? kDryWords : kWords)[static_cast<std::size_t>(action)];
}

std::vector<ManifestChange> registerHost(const Places& places, const RegistrationRequest& request,
                                         const fs::path& host, const RegisteredIds& given) {
  std::vector<ManifestChange> changes;
  const auto idsFor = [&](const fs::path& file, Family family) {
    const auto present = given.replace ? std::nullopt : readManifest(file, family);
    if (present && !present->ids.empty()) return present->ids;
    if (given.replace || !given.ids.of(family).empty()) return given.ids.of(family);
    return idsOfOthers(places, family, request.scope);
  };
  const auto write = [&](const Browser& browser, const fs::path& file) {
    const std::vector<std::string> ids = idsFor(file, browser.family);
    if (ids.empty()) {
      changes.push_back({std::string(browser.title), Action::kSkipped, {}, kNoExtension});
      return false;
    }
    changes.push_back(attempt(browser, file, request.scope, [&] {
      return writeManifest(file, manifestText(browser.family, host, ids), request);
    }));
    changes.back().ids = ids;
    return true;
  };
  if (!request.dataFolder.empty()) {
    write(kOwnChromium, manifestIn(request.dataFolder));
    return changes;
  }
  const bool everywhere = request.evenIfMissing || request.scope == Scope::kSystem;
  for (const Browser& browser : browsersOf(places.system())) {
    if (!isRequested(browser, request)) continue;
    if (!everywhere && !places.has(browser)) {
      if (!browser.isChannel()) changes.push_back({std::string(browser.title), Action::kMissing, {}, ""});
      continue;
    }
    for (const fs::path& folder : foldersToWrite(places, browser, request.scope))
      if (!write(browser, folder / kManifestFile)) break;
  }
  return changes;
}

std::vector<ManifestChange> unregisterHost(const Places& places, const RegistrationRequest& request) {
  std::vector<ManifestChange> changes;
  const auto remove = [&](const Browser& browser, const fs::path& file) {
    changes.push_back(attempt(browser, file, request.scope, [&] {
      if (request.dryRun) return Action::kRemoved;
      fs::remove(file);
      if (&browser != &kOwnChromium) removeEmptyFolders(places, file.parent_path());
      return Action::kRemoved;
    }));
  };
  if (!request.dataFolder.empty()) {
    const fs::path file = manifestIn(request.dataFolder);
    if (isThere(file)) remove(kOwnChromium, file);
    return changes;
  }
  std::set<fs::path> seen;
  for (const Browser& browser : browsersOf(places.system())) {
    if (!isRequested(browser, request)) continue;
    const auto keep = [&](const fs::path& file, const std::string& reason) {
      changes.push_back({std::string(browser.title), Action::kKept, file, reason});
    };
    for (const fs::path& folder : places.manifestFolders(browser, request.scope)) {
      const fs::path file = folder / kManifestFile;
      if (!isThere(file) || !seen.insert(file).second) continue;
      const auto manifest = request.onlyOfHost.empty() ? std::nullopt : readManifest(file, browser.family);
      if (!request.onlyOfHost.empty() && (!manifest || manifest->host != request.onlyOfHost))
        keep(file, "it is of another host");
      else if (const Browser* reader = otherReader(places, request, file))
        keep(file, std::string(reader->title) + " reads it too");
      else
        remove(browser, file);
    }
  }
  return changes;
}

}  // namespace vorn::vornctl
