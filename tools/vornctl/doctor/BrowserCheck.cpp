#include <unistd.h>

#include <algorithm>
#include <iterator>
#include <optional>
#include <utility>

#include "vornctl/base/Terminal.h"
#include "vornctl/browsers/BrowserFamily.h"
#include "vornctl/doctor/Doctor.h"

namespace vorn::vornctl {
namespace {

namespace fs = std::filesystem;

struct Manifest {
  Scope scope;
  fs::path file;
  ManifestCheck check;
};

bool has(const std::vector<std::string>& texts, const std::string& text) {
  return std::find(texts.begin(), texts.end(), text) != texts.end();
}

/** The extensions in the first list that are missing in the second. */
std::vector<std::string> without(const std::vector<std::string>& texts,
                                 const std::vector<std::string>& others) {
  std::vector<std::string> left;
  std::copy_if(texts.begin(), texts.end(), std::back_inserter(left),
               [&others](const std::string& text) { return !has(others, text); });
  return left;
}

class BrowserDiagnosis {
 public:
  BrowserDiagnosis(const Places& places, const Browser& browser, const fs::path& installedHost,
                   const std::vector<std::string>& wanted)
      : places_(places), browser_(browser), installedHost_(installedHost), wanted_(wanted) {}

  BrowserReport run() {
    readManifests();
    checkPolicies();
    if (manifests_.empty()) return std::move(report_);
    report_.registered = true;
    choose();
    for (const Manifest* manifest : used_) examineUsed(*manifest);
    checkUnused();
    checkExtensions();
    return std::move(report_);
  }

 private:
  void add(Severity severity, Fault fault, std::vector<std::string> files = {}) {
    report_.findings.push_back({std::move(fault), severity, {std::string(browser_.title)}, std::move(files)});
  }

  std::string unregisterCommand(Scope scope) const {
    return std::string(scope == Scope::kUser ? "\"vornctl unregister"
                                             : "\"sudo vornctl unregister --system") +
           " --browser " + std::string(browser_.name) + "\"";
  }

  static std::string registerCommand(Scope scope, const std::vector<std::string>& ids = {}) {
    std::string command = scope == Scope::kUser ? "\"vornctl register" : "\"sudo vornctl register --system";
    for (const std::string& id : ids) command += " --extension-id " + id;
    return command + "\"";
  }

  /** The manifests that are there, in the order in which the browser looks; some it ignores. */
  void readManifests() {
    const auto ignoring = policies_->ignoringUserManifests();
    for (const Scope scope : {Scope::kUser, Scope::kSystem}) {
      for (const fs::path& folder : places_.manifestFolders(browser_, scope)) {
        const fs::path file = folder / kManifestFile;
        auto check = checkManifest(file, browser_.family, installedHost_);
        if (!check) continue;
        if (ignoring && scope == Scope::kUser) {
          ignored_.push_back(file);
          continue;
        }
        manifests_.push_back({scope, file, std::move(*check)});
      }
    }
    passOverUnreachable();
    if (ignored_.empty() || !manifests_.empty()) return;
    report_.registered = true;
    add(Severity::kProblem,
        {code::kPolicyUserHosts, "the policy \"" + ignoring->policy + "\" lets no user register a host",
         "register for all users: run \"sudo vornctl register --system --extension-id ID\""},
        {ignoring->file.string(), ignored_.front().string()});
  }

  /** A browser that takes the first manifest goes on to the next from a folder that it may not enter. */
  void passOverUnreachable() {
    const auto isUnreachable = [](const Manifest& manifest) {
      return access(manifest.file.parent_path().c_str(), X_OK) != 0;
    };
    if (!rules_.takesFirstManifest || manifests_.size() < 2 || !isUnreachable(manifests_.front())) return;
    Fault fault = manifests_.front().check.refusals.front();
    fault.cause += "; the browser passes over it";
    add(Severity::kNote, fault, {manifests_.front().file.string()});
    manifests_.erase(manifests_.begin());
  }

  void checkPolicies() {
    if (const auto source = policies_->forbiddingHost())
      add(Severity::kProblem,
          {code::kPolicyHostBlocked,
           "the policy \"" + source->policy + "\" forbids all extensions to start the host",
           std::string("ask the administrator to name \"") + kHostName +
               "\" in the policy \"NativeMessagingAllowlist\""},
          {source->file.string()});
  }

  /** As FamilyRules has it. */
  void choose() {
    if (!rules_.takesFirstManifest) {
      for (const Manifest& manifest : manifests_) {
        if (!manifest.check.refusals.empty()) continue;
        const auto added = without(manifest.check.extensions, registered_);
        if (added.empty()) continue;
        registered_.insert(registered_.end(), added.begin(), added.end());
        used_.push_back(&manifest);
      }
    }
    if (!used_.empty()) return;
    used_.push_back(&manifests_.front());
    registered_ = manifests_.front().check.extensions;
  }

  /** A good manifest that the browser would take if that one were not there. */
  const Manifest* goodBehind(const Manifest& manifest) const {
    const auto good = std::find_if(manifests_.begin(), manifests_.end(), [&](const Manifest& other) {
      const bool isSame =
          rules_.takesFirstManifest || without(manifest.check.extensions, other.check.extensions).empty();
      return &other > &manifest && other.check.isGood() && isSame;
    });
    return good != manifests_.end() ? &*good : nullptr;
  }

  void examineUsed(const Manifest& manifest) {
    const Manifest* const hidden = goodBehind(manifest);
    const auto blame = [&](Fault fault) {
      if (hidden != nullptr && manifest.scope == Scope::kUser)
        fault.remedy = "run " + unregisterCommand(Scope::kUser);
      else if (fault.remedy.empty())
        fault.remedy = "run " + registerCommand(manifest.scope) + ", which writes it anew";
      if (hidden != nullptr) fault.cause += "; it hides the good one " + hidden->file.string();
      add(Severity::kProblem, std::move(fault), {manifest.file.string()});
    };
    for (const Fault& fault : manifest.check.refusals) blame(fault);
    for (const Fault& fault : manifest.check.faults) blame(fault);
    for (const Fault& fault : manifest.check.oddities) add(Severity::kNote, fault, {manifest.file.string()});
    if (!manifest.check.isGood()) return;
    const std::vector<std::string>& ids = manifest.check.extensions;
    add(Severity::kFine, {code::kRegistered, "registered; may sign: " + listed(ids), ""},
        {manifest.file.string()});
    report_.findings.back().extensions = ids;
    report_.starts.push_back({manifest.check.host, rules_.argumentsOf(manifest.file, ids.front())});
  }

  void checkUnused() {
    const Manifest& first = *used_.front();
    for (const Manifest& other : manifests_) {
      if (isUsed(other) || (first.check.isGood() && hides(first, other))) continue;
      const bool isSame =
          first.check.isGood() && other.check.isGood() && first.check.host == other.check.host;
      if (isSame) continue;
      const std::string why = other.check.refusals.empty()
                                  ? first.file.string() + " comes before it"
                                  : "the browser passes over it: " + other.check.refusals.front().cause;
      addUnused(other.file, other.scope, why);
    }
    for (const fs::path& file : ignored_) {
      if (manifests_.empty()) break;
      addUnused(file, Scope::kUser, "a policy lets those of all users alone count");
    }
  }

  void addUnused(const fs::path& file, Scope scope, const std::string& why) {
    add(Severity::kNote,
        {code::kManifestUnused, file.string() + " is not used, " + why,
         "if it is not wanted, run " + unregisterCommand(scope)},
        {file.string()});
  }

  /** Whether extensions that the second lets start the host cannot, for the first comes before it. */
  bool hides(const Manifest& first, const Manifest& other) {
    const auto lost = without(other.check.extensions, registered_);
    if (lost.empty() || !other.check.isGood()) return false;
    add(Severity::kProblem,
        {code::kManifestHides,
         first.file.string() + " hides " + other.file.string() + ": the extension " + listed(lost) +
             ", which may sign by that, may not start the host",
         "run " + unregisterCommand(first.scope)},
        {first.file.string(), other.file.string()});
    hidden_.insert(hidden_.end(), lost.begin(), lost.end());
    return true;
  }

  void checkExtensions() {
    const Manifest& used = *used_.back();
    if (!used.check.isGood()) return;
    std::vector<std::string> ids = registered_;
    for (const std::string& id : without(without(wanted_, registered_), hidden_)) {
      ids.push_back(id);
      add(Severity::kProblem,
          {code::kExtensionNotRegistered,
           "the extension " + id + " may not start the host; those that may: " + listed(registered_),
           "run " + registerCommand(used.scope, ids)},
          {used.file.string()});
    }
    std::size_t blocked = 0;
    for (const std::string& id : registered_) blocked += policies_->forbiddingExtension(id) ? 1 : 0;
    for (const std::string& id : registered_) {
      if (const std::string version = policies_->leastVersion(id); !version.empty())
        add(Severity::kNote, {code::kPolicyMinimumVersion,
                              "a policy runs the extension " + id + " from version " + version + " on",
                              "see in the browser which version is installed"});
      const auto source = policies_->forbiddingExtension(id);
      if (!source) continue;
      add(blocked == registered_.size() || has(wanted_, id) ? Severity::kProblem : Severity::kNote,
          {code::kPolicyExtensionBlocked, "the policy \"" + source->policy + "\" forbids the extension " + id,
           "ask the administrator to allow it"},
          {source->file.string()});
    }
  }

  bool isUsed(const Manifest& manifest) const {
    return std::find(used_.begin(), used_.end(), &manifest) != used_.end();
  }

  const Places& places_;
  const Browser& browser_;
  const fs::path& installedHost_;
  const std::vector<std::string>& wanted_;
  const FamilyRules& rules_ = rulesOf(browser_.family);
  std::unique_ptr<const BrowserPolicies> policies_ = rules_.readPolicies(places_.resolve(browser_.policies));
  BrowserReport report_;
  std::vector<Manifest> manifests_;
  std::vector<fs::path> ignored_;
  std::vector<const Manifest*> used_;
  std::vector<std::string> registered_; /**< extensions that the browser lets start a host */
  std::vector<std::string> hidden_;     /**< those that a manifest lets, which the browser does not read */
};

}  // namespace

BrowserReport checkBrowser(const Places& places, const Browser& browser, const fs::path& installedHost,
                           const ExtensionIds& wanted) {
  return BrowserDiagnosis(places, browser, installedHost, wanted.of(browser.family)).run();
}

}  // namespace vorn::vornctl
