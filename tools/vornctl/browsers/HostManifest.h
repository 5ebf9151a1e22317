#pragma once

#include <array>
#include <filesystem>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "vornctl/browsers/BrowserTable.h"

/** Who may start the host, and the manifests that say so. */
namespace vorn::vornctl {

/** The message says what is wrong with the id. */
struct BadExtensionId : std::runtime_error {
  using std::runtime_error::runtime_error;
};

/** Whose extensions have ids of this form. Throws BadExtensionId for a form that is nobody's. */
Family familyOfExtension(std::string_view id);

/** Why it is no id of the family's extensions; empty when it is one. */
std::string faultOfId(std::string_view id, Family family);

/** The extensions that may start the host, each once, in the order in which they were given. */
struct ExtensionIds {
  std::array<std::vector<std::string>, 2> byFamily;

  const std::vector<std::string>& of(Family family) const {
    return byFamily[static_cast<std::size_t>(family)];
  }
  /** Throws BadExtensionId. */
  void add(const std::string& id);
  bool empty() const { return byFamily[0].empty() && byFamily[1].empty(); }
};

/** Throws BadExtensionId. */
ExtensionIds readExtensionIds(const std::vector<std::string>& given);

/** Those that an administrator has named in /etc/vorn-signing/extension-ids, one in a line, "#" before
 * remarks; without that file those of the build's configuration. Throws BadExtensionId. */
ExtensionIds configuredExtensionIds(const Places& places);

/** The name by which extensions call the host. Browsers demand small letters, digits, dots, underscores. */
inline constexpr const char* kHostName = "vorn.signing";

/** The name of the manifest in any of the folders. */
inline const std::string kManifestFile = std::string(kHostName) + ".json";

/** The text of a manifest. Firefox refuses members that it does not know: each family has its own. */
std::string manifestText(Family family, const std::filesystem::path& host,
                         const std::vector<std::string>& ids);

/** The members of a manifest that can be read, whether it is good or not. */
struct ManifestContents {
  std::string host = {};             /**< empty where there is none */
  std::vector<std::string> ids = {}; /**< those that are well-formed */
};

/** None where there is no such file, and where it cannot be read. */
std::optional<ManifestContents> readManifest(const std::filesystem::path& file, Family family);

}  // namespace vorn::vornctl
