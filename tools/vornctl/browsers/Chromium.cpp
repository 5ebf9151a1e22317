#include <map>
#include <set>

#include "shared/text/LetterCase.h"
#include "vornctl/browsers/BrowserFamily.h"
#include "vornctl/browsers/HostManifest.h"
#include "vornctl/browsers/PolicyJson.h"

namespace vorn::vornctl {
namespace {

namespace fs = std::filesystem;
using namespace policies;

constexpr std::string_view kScheme = "chrome-extension://";
constexpr std::size_t kIdLength = 32;

/** Plain JSON of what Chromium takes in policies: with comments, and commas before the end of a list. */
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

/** Every file in the folders, whatever its name; a policy that several of them set is that of the last. */
class ChromiumPolicies : public BrowserPolicies {
 public:
  explicit ChromiumPolicies(const std::vector<fs::path>& folders) {
    for (const fs::path& folder : folders) {
      std::error_code unreadable;
      std::set<fs::path> files;
      for (const auto& entry : fs::directory_iterator(folder, unreadable))
        if (entry.is_regular_file(unreadable)) files.insert(entry.path());
      for (const fs::path& file : files)
        if (const json policies = contentsOf(file, &plainJson); policies.is_object())
          for (const auto& [name, value] : policies.items()) policies_[name] = {value, file};
    }
  }

  std::optional<PolicySource> forbiddingHost() const override {
    if (listing("NativeMessagingAllowlist", kHostName)) return std::nullopt;
    const auto source = listing("NativeMessagingBlocklist", kHostName);
    return source ? source : listing("NativeMessagingBlocklist", kEverything);
  }

  std::optional<PolicySource> ignoringUserManifests() const override {
    constexpr const char* kName = "NativeMessagingUserLevelHosts";
    return sourceIf(valueOf(kName) == json(false), kName);
  }

  std::optional<PolicySource> forbiddingExtension(const std::string& id) const override {
    const json general = member(valueOf(kSettings), kEverything), own = settingsOf(id);
    if (has(member(own.is_object() ? own : general, "blocked_permissions"), "nativeMessaging"))
      return sourceIf(true, kSettings);
    // No entry of its own frees an extension from the types that are allowed.
    const json types = member(general, kTypes);
    const char* const policyOfTypes = types.is_array() ? kSettings : "ExtensionAllowedTypes";
    if (leavesOutExtensions(types.is_array() ? types : valueOf(policyOfTypes)))
      return sourceIf(true, policyOfTypes);
    return modeForbidding(id, textIn(own, kMode), textIn(general, kMode));
  }

  std::string leastVersion(const std::string& id) const override {
    return textIn(settingsOf(id), "minimum_version_required");
  }

 private:
  struct Policy {
    json value;
    fs::path file;
  };

  json valueOf(const std::string& policy) const {
    const auto found = policies_.find(policy);
    return found != policies_.end() ? found->second.value : json();
  }

  std::optional<PolicySource> sourceIf(bool applies, const char* policy) const {
    return applies ? std::optional(PolicySource{policy, policies_.at(policy).file}) : std::nullopt;
  }

  /** The policy, if it is a list that has the entry. */
  std::optional<PolicySource> listing(const char* policy, const std::string& entry) const {
    return sourceIf(has(valueOf(policy), entry), policy);
  }

  /** What an entry of its id, or of several with commas between them, says of an extension; else null. */
  json settingsOf(const std::string& id) const {
    json settings;
    const json all = valueOf(kSettings);
    if (!all.is_object()) return settings;
    for (const auto& [ids, value] : all.items())
      if (value.is_object() && ("," + ids + ",").find("," + id + ",") != std::string::npos) settings = value;
    return settings;
  }

  /** Whether the administrator has the browser install it: "id;address" in a list. */
  bool isForced(const std::string& id) const {
    const json forced = valueOf("ExtensionInstallForcelist");
    return forced.is_array() && std::any_of(forced.begin(), forced.end(), [&id](const json& entry) {
             return entry.is_string() && (entry.get<std::string>() + ";").starts_with(id + ";");
           });
  }

  /** What counts is the first that there is: the mode of its own, the lists of ids, the mode of all. */
  std::optional<PolicySource> modeForbidding(const std::string& id, const std::string& own,
                                             const std::string& general) const {
    const auto judged = [this](const std::string& mode) {
      return sourceIf(mode == "blocked" || mode == "removed", kSettings);
    };
    if (!own.empty()) return judged(own);
    if (isForced(id)) return std::nullopt;
    if (auto source = listing("ExtensionInstallBlocklist", id)) return source;
    if (listing("ExtensionInstallAllowlist", id)) return std::nullopt;
    if (!general.empty()) return judged(general);
    return listing("ExtensionInstallBlocklist", kEverything);
  }

  std::map<std::string, Policy> policies_;
};

std::string faultOfChromiumId(std::string_view id) {
  if (id.find("://") != std::string_view::npos) return "give the id alone, not the whole address";
  const auto isForeign = [](char letter) { return letter < 'a' || letter > 'p'; };
  if (const auto foreign = std::find_if(id.begin(), id.end(), isForeign); foreign != id.end())
    return std::string("those of Chromium are of small letters from a to p, it has \"") + *foreign +
           "\"; those of Firefox have an @ or are a GUID in braces";
  if (id.size() == kIdLength) return "";
  return "those of Chromium have 32 letters, it has " + std::to_string(id.size());
}

/** Chromium passes over an entry whose id is none. */
std::string refusalOfOrigin(const std::string& entry) {
  if (!entry.starts_with(kScheme)) return "it does not begin with chrome-extension://";
  const std::string origin = entry.substr(kScheme.size());
  if (origin.find('/') == std::string::npos) return "the slash at the end is missing";
  return origin.find('*') != std::string::npos ? "browsers accept no wildcards here" : "";
}

}  // namespace

const FamilyRules kChromiumRules = {
    .title = "Chromium and its relatives",
    .faultOfId = &faultOfChromiumId,
    .allowedMember = "allowed_origins",
    .before = kScheme,
    .behind = "/",
    .takesComments = true,
    .takesEmptyDescription = false,
    .takesOtherMembers = true,
    .idIn = [](const std::string& entry) -> std::string {
      if (!entry.starts_with(kScheme)) return "";
      return asciiLowerCase(entry.substr(kScheme.size(), entry.find('/', kScheme.size()) - kScheme.size()));
    },
    .refusalOf = &refusalOfOrigin,
    .takesFirstManifest = true,
    .argumentsOf = [](const fs::path& /*manifest*/, const std::string& id) -> std::vector<std::string> {
      return {std::string(kScheme) + id + "/"};
    },
    .readPolicies = [](const std::vector<fs::path>& folders) -> std::unique_ptr<const BrowserPolicies> {
      return std::make_unique<const ChromiumPolicies>(folders);
    }};

}  // namespace vorn::vornctl
