#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "vornctl/browsers/BrowserTable.h"
#include "vornctl/doctor/Doctor.h"
#include "vornctl/doctor/HostCheck.h"

namespace vorn::vornctl {

/** The result of checking how one browser reads its manifests and an administrator's policies. */
struct BrowserReport {
  bool registered = false; /**< it finds a manifest, be that good or not */
  std::vector<Finding> findings = {};
  std::vector<HostStart> starts = {}; /**< as the browser would start the hosts of good manifests */
};

/** `wanted` are the extensions that the user wants to sign with, of any family; none where that is not known.
 */
BrowserReport checkBrowser(const Places& places, const Browser& browser,
                           const std::filesystem::path& installedHost, const ExtensionIds& wanted);

}  // namespace vorn::vornctl
