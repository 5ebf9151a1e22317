#include "vornctl/BrowserPolicies.h"

#include <algorithm>
#include <nlohmann/json.hpp>
#include <set>
#include <system_error>
#include <utility>
#include <vector>

#include "vornctl/AtomicFile.h"
#include "vornctl/HostManifest.h"

namespace vorn::vornctl {
namespace {

namespace fs = std::filesystem;
using nlohmann::json;

constexpr const char* kEverything = "*";

/** The text of a file; empty where it cannot be read, which browsers pass over too. */
std::string contentsOf(const fs::path& file) {
  try {
    return readFile(file).value_or("");
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

/** Whether one list has the entry, or all, and the other does not name it. */
std::optional<PolicySource> BrowserPolicies::listing(const char* blocked, const char* allowed,
                                                     const std::string& entry) const {
  const Policy* const block = find(blocked);
  const Policy* const allow = find(allowed);
  if (block == nullptr || !(has(block->value, entry) || has(block->value, kEverything))) return std::nullopt;
  if (allow != nullptr && has(allow->value, entry)) return std::nullopt;
  return PolicySource{blocked, block->file};
}

std::optional<PolicySource> BrowserPolicies::forbiddingHost() const {
  return family_ == Family::kChromium
             ? listing("NativeMessagingBlocklist", "NativeMessagingAllowlist", kHostName)
             : std::nullopt;
}

std::optional<PolicySource> BrowserPolicies::ignoringUserManifests() const {
  constexpr const char* kName = "NativeMessagingUserLevelHosts";
  const Policy* const policy = family_ == Family::kChromium ? find(kName) : nullptr;
  if (policy == nullptr || policy->value != json(false)) return std::nullopt;
  return PolicySource{kName, policy->file};
}

std::optional<PolicySource> BrowserPolicies::settingsForbidding(const std::string& id) const {
  constexpr const char* kName = "ExtensionSettings";
  const Policy* const policy = find(kName);
  if (policy == nullptr) return std::nullopt;
  json settings = policy->value;
  if (family_ == Family::kFirefox && settings.is_string())
    settings = json::parse(settings.get<std::string>(), nullptr, /*allow_exceptions=*/false);
  if (!settings.is_object()) return std::nullopt;
  json own;
  json general;
  for (const auto& [key, value] : settings.items()) {
    if (key == kEverything) general = value;
    if (family_ == Family::kChromium ? names(key, id) : key == id) own = value;
  }
  if (!own.is_object() && !general.is_object()) return std::nullopt;
  const std::string ownMode = own.is_object() ? textOf(own, "installation_mode") : "";
  const std::string mode =
      ownMode.empty() && general.is_object() ? textOf(general, "installation_mode") : ownMode;
  const json& in = own.is_object() ? own : general;
  const auto types = in.find("allowed_types");
  const bool isForbidden =
      mode == "blocked" || (family_ == Family::kChromium && mode == "removed") ||
      (family_ == Family::kChromium && has(in.value("blocked_permissions", json()), "nativeMessaging")) ||
      (family_ == Family::kFirefox && !own.is_object() && types != in.end() && types->is_array() &&
       !has(*types, "extension"));
  return isForbidden ? std::optional(PolicySource{kName, policy->file}) : std::nullopt;
}

/** Whether the administrator has the browser install it: "id;address" in a list. */
bool BrowserPolicies::isForced(const std::string& id) const {
  const Policy* const forced = find("ExtensionInstallForcelist");
  return forced != nullptr && forced->value.is_array() &&
         std::any_of(forced->value.begin(), forced->value.end(), [&id](const json& entry) {
           return entry.is_string() && (entry.get<std::string>() + ";").starts_with(id + ";");
         });
}

std::optional<PolicySource> BrowserPolicies::forbiddingExtension(const std::string& id) const {
  if (auto source = settingsForbidding(id)) return source;
  if (family_ != Family::kChromium || isForced(id)) return std::nullopt;
  return listing("ExtensionInstallBlocklist", "ExtensionInstallAllowlist", id);
}

}  // namespace vorn::vornctl
