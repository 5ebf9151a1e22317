#include "vornctl/Registration.h"

#include <algorithm>
#include <iterator>
#include <set>
#include <system_error>

#include "vornctl/AtomicFile.h"
#include "vornctl/HostManifest.h"

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

/** Runs a step that changes files; a failure of the system becomes the outcome. */
template <typename Step>
Outcome attempt(const Browser& browser, const fs::path& file, Step step) {
  try {
    return {std::string(browser.title), step(), file, ""};
  } catch (const std::system_error& e) {
    return {std::string(browser.title), Action::kFailed, file, e.code().message()};
  }
}

Action writeManifest(const fs::path& file, const std::string& text, bool dryRun) {
  if (readFile(file) == text) return Action::kUnchanged;
  if (!dryRun) {
    fs::create_directories(file.parent_path());
    writeFileAtomically(file, text);
  }
  return Action::kWritten;
}

std::string missingReason(const Places& places, const Browser& browser) {
  return "not found: no " + places.resolve(browser.profiles.front()).string() +
         ", and not installed; --all writes it anyway";
}

/** Those folders of the browser that are to hold a manifest. */
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

/** The folder of a profile stays even if it is empty: by it a browser is known to be there. */
void removeEmptyFolders(const Places& places, Scope scope, fs::path folder) {
  std::error_code notEmpty;
  while (!places.isCommon(folder) && folder.has_relative_path() && fs::remove(folder, notEmpty)) {
    if (scope == Scope::kUser) return;
    folder = folder.parent_path();
  }
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
                                  const fs::path& host, const ExtensionIds& ids) {
  std::vector<Outcome> outcomes;
  const auto skip = [&outcomes](const Browser& browser, const std::string& reason) {
    outcomes.push_back({std::string(browser.title), Action::kSkipped, {}, reason});
  };
  for (const Browser& browser : browsersOf(places.system())) {
    if (!isRequested(browser, request)) continue;
    if (!request.evenIfMissing && !places.has(browser)) {
      if (!browser.isChannel()) skip(browser, missingReason(places, browser));
      continue;
    }
    if (ids.of(browser.family).empty()) {
      skip(browser, "no extension for it was given with --extension-id or configured in the build");
      continue;
    }
    for (const fs::path& folder : foldersToWrite(places, browser, request.scope)) {
      const fs::path file = folder / kManifestFile;
      outcomes.push_back(attempt(browser, file, [&] {
        return writeManifest(file, manifestText(browser.family, host, ids), request.dryRun);
      }));
    }
  }
  return outcomes;
}

std::vector<Outcome> unregisterHost(const Places& places, const RegistrationRequest& request) {
  std::vector<Outcome> outcomes;
  std::set<fs::path> seen;
  for (const Browser& browser : browsersOf(places.system())) {
    if (!isRequested(browser, request)) continue;
    for (const fs::path& folder : places.manifestFolders(browser, request.scope)) {
      const fs::path file = folder / kManifestFile;
      if (!isThere(file) || !seen.insert(file).second) continue;
      if (const Browser* reader = otherReader(places, request, file)) {
        outcomes.push_back(
            {std::string(browser.title), Action::kKept, file, std::string(reader->title) + " reads it too"});
        continue;
      }
      outcomes.push_back(attempt(browser, file, [&] {
        if (!request.dryRun) {
          fs::remove(file);
          removeEmptyFolders(places, request.scope, folder);
        }
        return Action::kRemoved;
      }));
    }
  }
  return outcomes;
}

}  // namespace vorn::vornctl
