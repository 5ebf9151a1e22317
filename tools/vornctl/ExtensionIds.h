#pragma once

#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "vornctl/BrowserTable.h"

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
};

/** Throws BadExtensionId. An empty list gives the ids of the build's configuration. */
ExtensionIds readExtensionIds(const std::vector<std::string>& given);

/** What to run to register, as users are told: without an id only where the build has one of its own. */
std::string registerCommand();

}  // namespace vorn::vornctl
