#pragma once

#include <chrono>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "vornctl/base/Fault.h"
#include "vornctl/browsers/BrowserTable.h"
#include "vornctl/doctor/Doctor.h"

namespace vorn::vornctl {

/** How a browser would start a host. */
struct HostStart {
  std::filesystem::path host;
  std::vector<std::string> arguments;
};

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

/** Starts the host, asks for its version and, if it `searches`, has it look for a certificate, for which it
 * opens its signing module and reads cards. The version is waited for so long, the search twice that. The
 * user's log stays as it is. */
std::vector<Finding> checkHost(const HostStart& start, bool searches = true,
                               std::chrono::milliseconds patience = std::chrono::seconds(10));

/** Looks for the user's key store and for an identity in it that could sign. */
std::vector<Finding> checkKeyStore();

/** What keeps the host from writing its log into this home folder; none when nothing does. Writes nothing. */
std::optional<Fault> checkLog(const std::filesystem::path& home);

}  // namespace vorn::vornctl
