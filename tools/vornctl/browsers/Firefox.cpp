#include <cctype>

#include "vornctl/browsers/BrowserFamily.h"
#include "vornctl/browsers/HostManifest.h"
#include "vornctl/browsers/PolicyJson.h"

namespace vorn::vornctl {
namespace {

namespace fs = std::filesystem;
using namespace policies;

/** One object of policies, of the first file that is there. */
class FirefoxPolicies : public BrowserPolicies {
 public:
  explicit FirefoxPolicies(const std::vector<fs::path>& folders) {
    const auto found = std::find_if(folders.begin(), folders.end(), [](const fs::path& folder) {
      std::error_code unreadable;
      return fs::exists(folder / kFile, unreadable);
    });
    if (found == folders.end()) return;
    source_ = {kSettings, *found / kFile};
    static constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";  // Firefox takes it for a fault
    const json whole = contentsOf(source_.file, [](std::string text) {
      return text.starts_with(kByteOrderMark) ? "" : std::move(text);
    });
    settings_ = member(member(whole, "policies"), kSettings);
    if (settings_.is_string())
      settings_ = json::parse(settings_.get<std::string>(), nullptr, /*allow_exceptions=*/false);
  }

  std::optional<PolicySource> forbiddingExtension(const std::string& id) const override {
    const json own = member(settings_, id.c_str());
    const json general = member(settings_, kEverything);
    const bool isForbidden = textIn(own.is_object() ? own : general, kMode) == "blocked" ||
                             (!own.is_object() && leavesOutExtensions(member(general, kTypes)));
    return isForbidden ? std::optional(source_) : std::nullopt;
  }

 private:
  static constexpr const char* kFile = "policies.json";

  json settings_;
  PolicySource source_;
};

bool isAddress(std::string_view id) {
  constexpr std::string_view kLetters = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789._-";
  const std::size_t at = id.find('@');
  return at < id.size() - 1 && id.substr(0, at).find_first_not_of(kLetters) == std::string_view::npos &&
         id.substr(at + 1).find_first_not_of(kLetters) == std::string_view::npos;
}

bool isGuid(std::string_view id) {
  constexpr std::string_view kForm = "{xxxxxxxx-xxxx-xxxx-xxxx-xxxxxxxxxxxx}";
  return std::equal(id.begin(), id.end(), kForm.begin(), kForm.end(), [](char letter, char form) {
    return form == 'x' ? std::isxdigit(static_cast<unsigned char>(letter)) != 0 : letter == form;
  });
}

}  // namespace

const FamilyRules kFirefoxRules = {
    .title = "Firefox",
    .faultOfId = [](std::string_view id) -> std::string {
      if (isAddress(id) || isGuid(id)) return "";
      return "those of Firefox are like name@domain or {01234567-89ab-cdef-0123-456789abcdef}";
    },
    .allowedMember = "allowed_extensions",
    .before = "",
    .behind = "",
    .takesComments = false,
    .takesEmptyDescription = true,
    .takesOtherMembers = false,
    .idIn = [](const std::string& entry) { return entry; },
    .refusalOf = [](const std::string& entry) { return faultOfId(entry, Family::kFirefox); },
    .takesFirstManifest = false,
    .argumentsOf = [](const fs::path& manifest, const std::string& id) -> std::vector<std::string> {
      return {manifest.string(), id};
    },
    .readPolicies = [](const std::vector<fs::path>& folders) -> std::unique_ptr<const BrowserPolicies> {
      return std::make_unique<const FirefoxPolicies>(folders);
    }};

}  // namespace vorn::vornctl
