#include "vornctl/Doctor.h"

#include <algorithm>

#include "vornctl/ExtensionIds.h"
#include "vornctl/FileOwners.h"
#include "vornctl/HostCheck.h"
#include "vornctl/HostManifest.h"
#include "vornctl/KeyStoreCheck.h"

namespace vorn::vornctl {
namespace {

namespace fs = std::filesystem;

struct Manifest {
  fs::path file;
  ManifestCheck check;
};

class Examination {
 public:
  Examination(const Places& places, const fs::path& installedHost)
      : places_(places), installedHost_(installedHost) {}

  std::vector<Finding> run() {
    for (const Browser& browser : browsersOf(places_.system()))
      if (places_.has(browser)) examineBrowser(browser);
    noteUnregistered();
    noteSandboxed();
    examineHosts();
    for (Finding& finding : checkKeyStore()) findings_.push_back(std::move(finding));
    return std::move(findings_);
  }

 private:
  /** Findings with one cause and remedy become one. */
  void add(Finding finding) {
    const auto same = std::find_if(findings_.begin(), findings_.end(), [&](const Finding& other) {
      return other.severity == finding.severity && other.code == finding.code &&
             other.cause == finding.cause && other.remedy == finding.remedy;
    });
    if (same == findings_.end()) {
      findings_.push_back(std::move(finding));
      return;
    }
    const auto append = [](std::vector<std::string>& to, const std::vector<std::string>& from) {
      for (const std::string& text : from)
        if (std::find(to.begin(), to.end(), text) == to.end()) to.push_back(text);
    };
    append(same->subjects, finding.subjects);
    append(same->files, finding.files);
  }

  void addNote(const char* code, const std::string& subject, const std::string& cause,
               const std::string& remedy, std::vector<std::string> files = {}) {
    add({Severity::kNote, code, {subject}, cause, remedy, std::move(files)});
  }

  /** Those that are there, in the order in which the browser looks. */
  std::vector<Manifest> manifestsOf(const Browser& browser) const {
    std::vector<Manifest> manifests;
    for (const Scope scope : {Scope::kUser, Scope::kSystem}) {
      for (const fs::path& folder : places_.manifestFolders(browser, scope)) {
        const fs::path file = folder / kManifestFile;
        if (auto check = checkManifest(file, browser.family, installedHost_))
          manifests.push_back({file, std::move(*check)});
      }
    }
    return manifests;
  }

  void examineBrowser(const Browser& browser) {
    ++browsers_;
    const std::string title(browser.title);
    const std::vector<Manifest> manifests = manifestsOf(browser);
    if (manifests.empty()) {
      unregistered_.push_back(title);
      return;
    }
    const auto good = std::find_if(manifests.begin(), manifests.end(),
                                   [](const Manifest& manifest) { return manifest.check.isGood(); });
    // Chromium takes the first file whatever is in it; Firefox the first that is good.
    const bool skipsBad = browser.family == Family::kFirefox && good != manifests.end();
    const Manifest& used = skipsBad ? *good : manifests.front();
    for (const Fault& fault : used.check.faults) {
      const std::string hidden =
          good != manifests.end() ? "; it hides the good one " + good->file.string() : "";
      add({Severity::kProblem,
           fault.code,
           {title},
           fault.cause + hidden,
           fault.remedy,
           {used.file.string()}});
    }
    if (used.check.isGood()) {
      std::string extensions;
      for (const std::string& extension : used.check.extensions)
        extensions += (extensions.empty() ? "" : ", ") + extension;
      add({Severity::kFine,
           "registered",
           {title},
           "registered; may sign: " + extensions,
           "",
           {used.file.string()}});
      remember(browser, used);
    }
    for (const Manifest& other : manifests) {
      if (&other == &used ||
          (used.check.isGood() && other.check.isGood() && other.check.host == used.check.host))
        continue;
      addNote("manifest-unused", title,
              other.file.string() + " is not used, " + used.file.string() + " comes before it",
              "remove the one that is not wanted with \"vornctl unregister\", with --system for that of all "
              "users",
              {other.file.string()});
    }
  }

  void remember(const Browser& browser, const Manifest& manifest) {
    const auto known = std::find_if(hosts_.begin(), hosts_.end(), [&](const HostStart& start) {
      return start.host == manifest.check.host;
    });
    if (known != hosts_.end()) return;
    HostStart start{manifest.check.host, {manifest.check.extensions.front()}};
    if (browser.family == Family::kFirefox)
      start.arguments.insert(start.arguments.begin(), manifest.file.string());
    hosts_.push_back(std::move(start));
  }

  /** Not to be registered with one browser of several may be what the user wants; with none it is not. */
  void noteUnregistered() {
    if (browsers_ == 0) {
      addNote("no-browser", "browsers", "no browser of those that are supported was found for this user",
              "start the browser once; then run " + registerCommand());
      return;
    }
    if (unregistered_.empty()) return;
    const bool none = unregistered_.size() == browsers_;
    add({none ? Severity::kProblem : Severity::kNote, "not-registered", unregistered_,
         "the host is not registered", "run " + registerCommand()});
  }

  void noteSandboxed() {
    std::error_code unreadable;
    if (places_.system() != System::kLinux) return;
    for (const SandboxedBrowser& browser : sandboxedBrowsers()) {
      if (!fs::is_directory(places_.resolve(browser.folder), unreadable)) continue;
      std::string remedy(browser.remedy);
      const std::string placeholder = "{host}";
      if (const std::size_t at = remedy.find(placeholder); at != std::string::npos)
        remedy.replace(at, placeholder.size(), kHostName);
      const bool onlyThis = !browser.reachesHost && browsers_ == 0;
      add({onlyThis ? Severity::kProblem : Severity::kNote,
           "browser-sandboxed",
           {std::string(browser.title)},
           browser.reachesHost ? "runs in a sandbox" : "runs in a sandbox and cannot start the host",
           remedy});
    }
  }

  /** Where no manifest leads to a host, the installed one is tried: unless it was blamed already. */
  void examineHosts() {
    if (hosts_.empty()) {
      if (const auto fault = checkProgram(installedHost_, installedHost_)) {
        if (!isBlamed(*fault)) add({Severity::kProblem, fault->code, {"host"}, fault->cause, fault->remedy});
        return;
      }
      hosts_.push_back({installedHost_, {}});
    }
    for (const HostStart& start : hosts_) {
      if (const auto fault = findForeignWriterOfHost(start.host)) {
        add({Severity::kProblem,
             fault->code,
             {"host"},
             fault->cause + "; it was not started",
             fault->remedy,
             {start.host.string()}});
        continue;
      }
      for (Finding& finding : checkHost(start)) add(std::move(finding));
    }
  }

  bool isBlamed(const Fault& fault) const {
    return std::any_of(
        findings_.begin(), findings_.end(),
        [&](const Finding& finding) { return finding.cause.starts_with(fault.cause); });
  }

  const Places& places_;
  const fs::path& installedHost_;
  std::vector<Finding> findings_;
  std::vector<HostStart> hosts_;
  std::vector<std::string> unregistered_;
  std::size_t browsers_ = 0;
};

}  // namespace

std::vector<Finding> examine(const Places& places, const fs::path& installedHost) {
  return Examination(places, installedHost).run();
}

}  // namespace vorn::vornctl
