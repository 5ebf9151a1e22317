#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "vornctl/BrowserTable.h"
#include "vornctl/Fault.h"

namespace vorn::vornctl {

/** A manifest as a browser of the family reads it. */
struct ManifestCheck {
  std::vector<Fault> faults = {}; /**< any of them makes the host unreachable */
  std::filesystem::path host = {};
  std::vector<std::string> extensions = {}; /**< that may start the host: origins, or ids of Firefox */

  bool isGood() const { return faults.empty(); }
};

/** None where there is no such file. `installedHost` is the host that the remedies name. */
std::optional<ManifestCheck> checkManifest(const std::filesystem::path& file, Family family,
                                           const std::filesystem::path& installedHost);

/** What keeps the program from being started; none when nothing does. */
std::optional<Fault> checkProgram(const std::filesystem::path& program,
                                  const std::filesystem::path& installedHost);

}  // namespace vorn::vornctl
