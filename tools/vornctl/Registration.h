#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "vornctl/BrowserTable.h"
#include "vornctl/ExtensionIds.h"

/** Writes and removes the manifests by which browsers find the host. */
namespace vorn::vornctl {

enum class Action { kWritten, kUnchanged, kRemoved, kKept, kSkipped, kFailed };

/** The word for it: "written", or "would write" when nothing is really done. */
std::string wordFor(Action action, bool dryRun);

struct Outcome {
  std::string browser;
  Action action;
  std::filesystem::path file; /**< empty when no file is concerned */
  std::string reason;         /**< why it was skipped, kept or failed; else empty */
};

struct RegistrationRequest {
  Scope scope = Scope::kUser;
  std::vector<std::string> browsers = {}; /**< names of the table; empty for all of them */
  bool evenIfMissing = false;             /**< browsers, too, that are not there */
  bool dryRun = false;
};

/**
 * One outcome or more for every browser of the request; a failure with one does not keep it from the next.
 */
std::vector<Outcome> registerHost(const Places& places, const RegistrationRequest& request,
                                  const std::filesystem::path& host, const ExtensionIds& ids);

/**
 * Removes the manifests, whether the browser is there or not, and the folders that are empty then. Only
 * browsers that had a manifest have an outcome. A file that browsers outside of the request read too is kept
 * if one of those is there.
 */
std::vector<Outcome> unregisterHost(const Places& places, const RegistrationRequest& request);

}  // namespace vorn::vornctl
