#pragma once

#include <filesystem>
#include <map>
#include <memory>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>

#include "vornctl/browsers/BrowserTable.h"

namespace vorn::vornctl {

/** A policy that forbids something, and where an administrator has set it. */
struct PolicySource {
  std::string policy;
  std::filesystem::path file;
};

/**
 * An administrator's policies for a browser, read as it reads them: a file that it takes no notice of,
 * because of its form for one, is none here either.
 */
class BrowserPolicies {
 public:
  BrowserPolicies(const Places& places, const Browser& browser);
  ~BrowserPolicies();
  BrowserPolicies(const BrowserPolicies&) = delete;
  BrowserPolicies& operator=(const BrowserPolicies&) = delete;

  /** The policy for which no extension may start the host; none when there is none. */
  std::optional<PolicySource> forbiddingHost() const;
  /** The policy by which only the manifests of all users count; none when there is none. */
  std::optional<PolicySource> ignoringUserManifests() const;
  /** The policy by which the extension may not be installed, or may not talk to hosts. */
  std::optional<PolicySource> forbiddingExtension(const std::string& id) const;
  /** Below which a version of the extension is not run; empty when each is. */
  std::string leastVersion(const std::string& id) const;

 private:
  struct Policy;
  struct Settings;

  void readChromium(const std::filesystem::path& folder);
  void readFirefox(const std::filesystem::path& file);
  void add(const nlohmann::json& policies, const std::filesystem::path& file);
  const Policy* find(const char* name) const;
  std::optional<PolicySource> listing(const char* policy, const std::string& entry) const;
  Settings settingsOf(const std::string& id) const;
  std::optional<PolicySource> modeForbidding(const Settings& settings, const std::string& id) const;
  std::optional<PolicySource> typesForbidding(const Settings& settings) const;
  bool isForced(const std::string& id) const;

  Family family_;
  std::map<std::string, std::unique_ptr<const Policy>> policies_;
};

}  // namespace vorn::vornctl
