#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "vornctl/base/Fault.h"
#include "vornctl/browsers/BrowserTable.h"

namespace vorn::vornctl {

/** A manifest as a browser of the family reads it. A fault without a remedy needs the manifest written anew.
 */
struct ManifestCheck {
  std::vector<Fault> refusals = {}; /**< for which the browser takes the manifest for none */
  std::vector<Fault> faults = {};   /**< of the host that it names, and of who may change it */
  std::vector<Fault> oddities = {}; /**< what does no harm to others in it */
  std::filesystem::path host = {};
  std::vector<std::string> extensions = {}; /**< ids of those that may start the host */

  bool isGood() const { return refusals.empty() && faults.empty(); }
};

/** None where there is no such file. `installedHost` is the host that the remedies name. */
std::optional<ManifestCheck> checkManifest(const std::filesystem::path& file, Family family,
                                           const std::filesystem::path& installedHost);

/** What keeps the program from being started; none when nothing does. */
std::optional<Fault> checkProgram(const std::filesystem::path& program,
                                  const std::filesystem::path& installedHost);

}  // namespace vorn::vornctl
