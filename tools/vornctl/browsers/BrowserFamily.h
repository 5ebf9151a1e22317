#pragma once

#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "vornctl/browsers/BrowserTable.h"

/** What the two families of browsers do each in its own way: Chromium.cpp and Firefox.cpp. */
namespace vorn::vornctl {

/** A policy that forbids something, and where an administrator has set it. */
struct PolicySource {
  std::string policy;
  std::filesystem::path file;
};

/** An administrator's policies for a browser, read as it reads them: a file that it takes no notice of,
 * because of its form for one, is none here either. Each answers with nothing when there is no such policy.
 */
class BrowserPolicies {
 public:
  virtual ~BrowserPolicies() = default;

  /** The policy for which no extension may start the host. */
  virtual std::optional<PolicySource> forbiddingHost() const { return std::nullopt; }
  /** The policy by which only the manifests of all users count. */
  virtual std::optional<PolicySource> ignoringUserManifests() const { return std::nullopt; }
  /** The policy by which the extension may not be installed, or may not talk to hosts. */
  virtual std::optional<PolicySource> forbiddingExtension(const std::string& id) const = 0;
  /** Below which a version of the extension is not run; empty when each is. */
  virtual std::string leastVersion(const std::string& /*id*/) const { return ""; }
};

struct FamilyRules {
  const char* title;                             /**< of all its browsers */
  std::string (*faultOfId)(std::string_view id); /**< why it is none; empty when it is one */
  const char* allowedMember;                     /**< the list of the extensions that may start the host */
  std::string_view before;                       /**< an id in that list */
  std::string_view behind;
  bool takesComments;
  bool takesEmptyDescription;
  bool takesOtherMembers;
  /** The id in an entry of the list, as the browser compares it; empty in what has not the form of one. */
  std::string (*idIn)(const std::string& entry);
  /** Why an entry makes the browser refuse the whole manifest; empty when it does not. */
  std::string (*refusalOf)(const std::string& entry);

  /** Whether the browser takes the first manifest that it may get at, whatever is in it. Otherwise it takes,
   * for each extension, the first that is well-formed and names it, whether the host is there or not. */
  bool takesFirstManifest;
  /** With what the browser starts the host for an extension. */
  std::vector<std::string> (*argumentsOf)(const std::filesystem::path& manifest, const std::string& id);
  std::unique_ptr<const BrowserPolicies> (*readPolicies)(const std::vector<std::filesystem::path>& folders);
};

extern const FamilyRules kChromiumRules;
extern const FamilyRules kFirefoxRules;

inline const FamilyRules& rulesOf(Family family) {
  return family == Family::kChromium ? kChromiumRules : kFirefoxRules;
}

}  // namespace vorn::vornctl
