#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "vornctl/base/Fault.h"
#include "vornctl/browsers/HostManifest.h"

/** Looks for what keeps a page from having a document signed. */
namespace vorn::vornctl {

enum class Severity { kFine, kNote, kProblem };

/** If fine, the cause is what was found, and the remedy is empty. */
struct Finding : Fault {
  Severity severity;
  std::vector<std::string> subjects; /**< the browsers, or other parts, that it concerns */
  std::vector<std::string> files = {};
  std::vector<std::string> extensions = {}; /**< that may start the host */
};

/**
 * Checks the registration with every browser that is there, starts the host as the browsers would, and looks
 * into the key store. What merely follows from another finding is left out, and one cause is one finding,
 * however many browsers it concerns. `wanted` are the extensions that the user wants to sign with. Writes
 * nothing, not even into the host's log.
 */
std::vector<Finding> examine(const Places& places, const std::filesystem::path& installedHost,
                             const ExtensionIds& wanted);

}  // namespace vorn::vornctl
