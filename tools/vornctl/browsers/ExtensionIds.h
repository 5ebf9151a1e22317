#pragma once

#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "vornctl/browsers/BrowserTable.h"

namespace vorn::vornctl {

/** The message says what is wrong with the id. */
class BadExtensionId : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/** Whose extensions have ids of this form. Throws BadExtensionId for a form that is nobody's. */
Family familyOfExtension(std::string_view id);

/** The extensions that may start the host, each once, in the order in which they were given. */
struct ExtensionIds {
  std::vector<std::string> chromium;
  std::vector<std::string> firefox;

  const std::vector<std::string>& of(Family family) const {
    return family == Family::kChromium ? chromium : firefox;
  }
  void add(const std::string& id);
  bool empty() const { return chromium.empty() && firefox.empty(); }
};

/** The id in what follows the scheme of a Chromium origin, in small letters, as Chromium compares it. */
std::string chromiumIdOf(std::string_view origin);

/** Throws BadExtensionId. */
ExtensionIds readExtensionIds(const std::vector<std::string>& given);

/**
 * Those that an administrator has named in /etc/vorn-signing/extension-ids, one in a line, "#" before
 * remarks; without that file those of the build's configuration. Throws BadExtensionId.
 */
ExtensionIds configuredExtensionIds(const Places& places);

}  // namespace vorn::vornctl
