#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "vornctl/browsers/HostManifest.h"

/** Writes and removes the manifests by which browsers find the host. */
namespace vorn::vornctl {

/** kMissing: the browser was skipped, as it is not there. */
enum class Action { kWritten, kUnchanged, kRemoved, kKept, kSkipped, kMissing, kFailed };

/** The word for it: "written", or "would write" when nothing is really done. */
std::string wordFor(Action action, bool dryRun);

/** What became of a browser's manifest. */
struct ManifestChange {
  std::string browser;
  Action action;
  std::filesystem::path file;        /**< empty when no file is concerned */
  std::string reason;                /**< why it was skipped, kept or failed; else empty */
  std::vector<std::string> ids = {}; /**< that the manifest names now */
};

/** The extensions that are to start the host. */
struct RegisteredIds {
  ExtensionIds ids = {};
  /** Whether they take the place of those that a manifest has; otherwise it keeps its own, if it has any. */
  bool replace = false;
};

struct RegistrationRequest {
  Scope scope = Scope::kUser; /**< for all users, every browser is registered, be it there or not */
  std::vector<std::string> browsers = {}; /**< names of the table; empty for all of them */
  bool evenIfMissing = false;             /**< browsers, too, that are not there */
  bool dryRun = false;
  /** The folder that Chromium is started with as --user-data-dir: only that one is registered then. */
  std::string dataFolder = {};
  /** Only manifests of this host are removed; empty for those of any. */
  std::filesystem::path onlyOfHost = {};
};

/** One change or more for every browser of the request; a failure with one does not keep it from the next. */
std::vector<ManifestChange> registerHost(const Places& places, const RegistrationRequest& request,
                                         const std::filesystem::path& host, const RegisteredIds& ids);

/** Removes the manifests, whether the browser is there or not, and the folders that are empty then. Only
 * browsers that had a manifest have a change. A file that browsers outside of the request read too is kept
 * if one of those is there. */
std::vector<ManifestChange> unregisterHost(const Places& places, const RegistrationRequest& request);

}  // namespace vorn::vornctl
