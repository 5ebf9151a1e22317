#include "vornctl/browsers/BrowserPolicies.h"

#include <algorithm>
#include <nlohmann/json.hpp>
#include <set>
#include <system_error>
#include <utility>
#include <vector>

#include "vornctl/base/InputFile.h"
#include "vornctl/browsers/HostManifest.h"

namespace vorn::vornctl {
namespace {

namespace fs = std::filesystem;
using nlohmann::json;

constexpr const char* kEverything = "*";
constexpr const char* kSettings = "ExtensionSettings";
constexpr const char* kMode = "installation_mode";
constexpr const char* kTypes = "allowed_types";

/** The text of a file; empty where it cannot be read, which browsers pass over too. */
std::string contentsOf(const fs::path& file) {
  try {
    return readIfThere(file).value_or("");
  } catch (const std::system_error&) {
    return "";
  }
}

/** Plain JSON of what Chromium takes in policies: with comments, and a comma before the end of an object or a
 * list. */
std::string plainJson(const std::string& text) {
  std::string kept;
  std::size_t comma = std::string::npos;  // the last one, as long as blanks alone have followed it
  for (std::size_t at = 0; at < text.size(); ++at) {
    const char letter = text[at];
    if (letter == '"') {
      const std::size_t start = at++;
      while (at < text.size() && text[at] != '"') at += text[at] == '\\' ? 2 : 1;
      kept += text.substr(start, at + 1 - start);
      comma = std::string::npos;
      continue;
    }
    if (text.compare(at, 2, "//") == 0 || text.compare(at, 2, "/*") == 0) {
      const bool isLine = text[at + 1] == '/';
      const std::size_t end = isLine ? text.find('\n', at) : text.find("*/", at + 2);
      if (end == std::string::npos) break;
      at = isLine ? end : end + 1;
      continue;
    }
    if ((letter == '}' || letter == ']') && comma != std::string::npos) kept.erase(comma, 1);
    if (std::string_view(" \t\r\n").find(letter) == std::string_view::npos)
      comma = letter == ',' ? kept.size() : std::string::npos;
    kept += letter;
  }
  return kept;
}

bool has(const json& list, const std::string& entry) {
  return list.is_array() && std::find(list.begin(), list.end(), json(entry)) != list.end();
}

bool leavesOutExtensions(const json& types) {
  return types.is_array() && !has(types, "extension");
}

/** The member that is a text; empty when there is none. */
std::string textOf(const json& object, const char* member) {
  const auto found = object.find(member);
  return found != object.end() && found->is_string() ? found->get<std::string>() : "";
}

/** Chromium takes several ids for one setting, with commas between them. */
bool names(const std::string& key, const std::string& id) {
  return ("," + key + ",").find("," + id + ",") != std::string::npos;
}

}  // namespace

struct BrowserPolicies::Policy {
  json value;
  fs::path file;
};

/** What is said of an extension by itself, and of all that have no such entry; null where nothing is. */
struct BrowserPolicies::Settings {
  json own;
  json general;
  PolicySource source;
};

BrowserPolicies::BrowserPolicies(const Places& places, const Browser& browser) : family_(browser.family) {
  const std::vector<fs::path> folders = places.policyFolders(browser);
  if (family_ == Family::kChromium) {
    for (const fs::path& folder : folders) readChromium(folder);
    return;
  }
  for (const fs::path& folder : folders) {
    std::error_code unreadable;
    const fs::path file = folder / "policies.json";
    if (!fs::exists(file, unreadable)) continue;
    readFirefox(file);
    break;
  }
}

BrowserPolicies::~BrowserPolicies() = default;

/** Every file in the folder, whatever its name; a policy that several of them set is that of the last. */
void BrowserPolicies::readChromium(const fs::path& folder) {
  std::error_code unreadable;
  std::set<fs::path> files;
  for (const auto& entry : fs::directory_iterator(folder, unreadable))
    if (entry.is_regular_file(unreadable)) files.insert(entry.path());
  for (const fs::path& file : files)
    add(json::parse(plainJson(contentsOf(file)), nullptr, /*allow_exceptions=*/false), file);
}

void BrowserPolicies::readFirefox(const fs::path& file) {
  const std::string text = contentsOf(file);
  constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";  // Firefox takes it for a fault
  if (text.starts_with(kByteOrderMark)) return;
  const json whole = json::parse(text, nullptr, /*allow_exceptions=*/false);
  if (whole.is_object() && whole.contains("policies")) add(whole["policies"], file);
}

void BrowserPolicies::add(const json& policies, const fs::path& file) {
  if (!policies.is_object()) return;
  for (const auto& [name, value] : policies.items())
    policies_[name] = std::make_unique<const Policy>(Policy{value, file});
}

const BrowserPolicies::Policy* BrowserPolicies::find(const char* name) const {
  const auto found = policies_.find(name);
  return found != policies_.end() ? found->second.get() : nullptr;
}

/** The policy, if it is a list that has the entry. */
std::optional<PolicySource> BrowserPolicies::listing(const char* policy, const std::string& entry) const {
  const Policy* const list = find(policy);
  return list != nullptr && has(list->value, entry) ? std::optional(PolicySource{policy, list->file})
                                                    : std::nullopt;
}

std::optional<PolicySource> BrowserPolicies::forbiddingHost() const {
  if (family_ != Family::kChromium || listing("NativeMessagingAllowlist", kHostName)) return std::nullopt;
  auto source = listing("NativeMessagingBlocklist", kHostName);
  return source ? source : listing("NativeMessagingBlocklist", kEverything);
}

std::optional<PolicySource> BrowserPolicies::ignoringUserManifests() const {
  constexpr const char* kName = "NativeMessagingUserLevelHosts";
  const Policy* const policy = family_ == Family::kChromium ? find(kName) : nullptr;
  if (policy == nullptr || policy->value != json(false)) return std::nullopt;
  return PolicySource{kName, policy->file};
}

BrowserPolicies::Settings BrowserPolicies::settingsOf(const std::string& id) const {
  Settings settings;
  const Policy* const policy = find(kSettings);
  if (policy == nullptr) return settings;
  settings.source = {kSettings, policy->file};
  json all = policy->value;
  if (family_ == Family::kFirefox && all.is_string())
    all = json::parse(all.get<std::string>(), nullptr, /*allow_exceptions=*/false);
  if (!all.is_object()) return settings;
  for (const auto& [key, value] : all.items()) {
    if (!value.is_object()) continue;
    if (key == kEverything) settings.general = value;
    if (family_ == Family::kChromium ? names(key, id) : key == id) settings.own = value;
  }
  return settings;
}

/** Whether the administrator has the browser install it: "id;address" in a list. */
bool BrowserPolicies::isForced(const std::string& id) const {
  const Policy* const forced = find("ExtensionInstallForcelist");
  return forced != nullptr && forced->value.is_array() &&
         std::any_of(forced->value.begin(), forced->value.end(), [&id](const json& entry) {
           return entry.is_string() && (entry.get<std::string>() + ";").starts_with(id + ";");
         });
}

/** What counts is the first that there is: the mode of its own, the lists of ids, the mode of all. */
std::optional<PolicySource> BrowserPolicies::modeForbidding(const Settings& settings,
                                                            const std::string& id) const {
  const auto judged = [&settings](const std::string& mode) {
    return mode == "blocked" || mode == "removed" ? std::optional(settings.source) : std::nullopt;
  };
  if (const std::string own = textOf(settings.own, kMode); !own.empty()) return judged(own);
  if (isForced(id)) return std::nullopt;
  if (auto source = listing("ExtensionInstallBlocklist", id)) return source;
  if (listing("ExtensionInstallAllowlist", id)) return std::nullopt;
  if (const std::string general = textOf(settings.general, kMode); !general.empty()) return judged(general);
  return listing("ExtensionInstallBlocklist", kEverything);
}

/** No entry of its own frees an extension from the types that are allowed. */
std::optional<PolicySource> BrowserPolicies::typesForbidding(const Settings& settings) const {
  constexpr const char* kName = "ExtensionAllowedTypes";
  const auto types = settings.general.find(kTypes);
  if (types != settings.general.end() && types->is_array())
    return leavesOutExtensions(*types) ? std::optional(settings.source) : std::nullopt;
  const Policy* const policy = find(kName);
  return policy != nullptr && leavesOutExtensions(policy->value)
             ? std::optional(PolicySource{kName, policy->file})
             : std::nullopt;
}

std::optional<PolicySource> BrowserPolicies::forbiddingExtension(const std::string& id) const {
  const Settings settings = settingsOf(id);
  const json& nearest = settings.own.is_object() ? settings.own : settings.general;
  if (family_ == Family::kFirefox) {
    const auto types = settings.general.find(kTypes);
    const bool isForbidden =
        textOf(nearest, kMode) == "blocked" ||
        (!settings.own.is_object() && types != settings.general.end() && leavesOutExtensions(*types));
    return isForbidden ? std::optional(settings.source) : std::nullopt;
  }
  const auto permissions = nearest.find("blocked_permissions");
  if (permissions != nearest.end() && has(*permissions, "nativeMessaging")) return settings.source;
  if (auto source = typesForbidding(settings)) return source;
  return modeForbidding(settings, id);
}

std::string BrowserPolicies::leastVersion(const std::string& id) const {
  return family_ == Family::kChromium ? textOf(settingsOf(id).own, "minimum_version_required") : "";
}

}  // namespace vorn::vornctl
