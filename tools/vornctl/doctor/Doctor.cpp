#include "vornctl/doctor/Doctor.h"

#include <unistd.h>

#include <algorithm>
#include <cstdlib>

namespace vorn::vornctl {
namespace {

namespace fs = std::filesystem;

class Diagnosis {
 public:
  Diagnosis(const Places& places, const fs::path& installedHost, const ExtensionIds& wanted)
      : places_(places), installedHost_(installedHost), wanted_(wanted) {}

  std::vector<Finding> run() {
    noteForeignHome();
    for (const Browser& browser : browsersOf(places_.system()))
      if (places_.has(browser)) examineBrowser(browser);
    noteUnregistered();
    noteSandboxed();
    std::vector<Finding> keyStore = checkKeyStore();
    examineHosts(keyStore);
    if (const auto fault = checkLog(places_.home())) add(Severity::kProblem, {"log"}, *fault);
    for (Finding& finding : keyStore) findings_.push_back(std::move(finding));
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

  void add(Severity severity, std::vector<std::string> subjects, Fault fault) {
    add({std::move(fault), severity, std::move(subjects)});
  }

  /** Root's browsers and key store are not those of whoever became root to look. */
  void noteForeignHome() {
    const char* const person = std::getenv("SUDO_USER");
    if (geteuid() != 0 || person == nullptr) return;
    add(Severity::kNote, {"user"},
        {code::kExaminesRoot,
         "this is about the browsers and the key store of root, not about those of " + std::string(person),
         "run \"vornctl doctor\" without sudo"});
  }

  void examineBrowser(const Browser& browser) {
    ++browsers_;
    BrowserReport report = checkBrowser(places_, browser, installedHost_, wanted_);
    if (!report.registered) unregistered_.emplace_back(browser.title);
    for (Finding& finding : report.findings) add(std::move(finding));
    for (HostStart& start : report.starts) {
      const bool known = std::any_of(hosts_.begin(), hosts_.end(),
                                     [&start](const HostStart& host) { return host.host == start.host; });
      if (!known) hosts_.push_back(std::move(start));
    }
  }

  std::string registerCommand() const {
    const bool isKnown = !wanted_.empty() || !hosts_.empty();
    return isKnown ? "\"vornctl register\"" : "\"vornctl register --extension-id ID\"";
  }

  /** Not to be registered with one browser of several may be what the user wants; with none it is not. */
  void noteUnregistered() {
    if (browsers_ == 0)
      return add(Severity::kNote, {"browsers"},
                 {code::kNoBrowser, "no browser of those that are supported was found for this user",
                  "start the browser once; then run " + registerCommand()});
    if (unregistered_.empty()) return;
    const bool none = unregistered_.size() == browsers_;
    add(none ? Severity::kProblem : Severity::kNote, unregistered_,
        {code::kNotRegistered, "the host is not registered", "run " + registerCommand()});
  }

  void noteSandboxed() {
    std::error_code unreadable;
    if (places_.system() != System::kLinux) return;
    for (const SandboxedBrowser& browser : sandboxedBrowsers()) {
      if (!fs::is_directory(places_.resolve(browser.folder), unreadable)) continue;
      if (browser.reachesHost)
        add(Severity::kNote, {std::string(browser.title)},
            {code::kBrowserSandboxed, "runs in a sandbox",
             "It starts the host through the desktop's portal and reads the manifest of the usual Firefox "
             "folder. Allow it when it asks; after a refusal: flatpak permission-set webextensions " +
                 std::string(kHostName) + " snap.firefox yes"});
      else
        add(browsers_ == 0 ? Severity::kProblem : Severity::kNote, {std::string(browser.title)},
            {code::kBrowserSandboxed, "runs in a sandbox and cannot start the host",
             "A sandboxed browser of this family cannot start programs of the system: install the browser as "
             "a package of the distribution, or from its maker, and register again."});
    }
  }

  /** Where no manifest leads to a host, the installed one is tried: unless it was blamed already. */
  void examineHosts(const std::vector<Finding>& keyStore) {
    const auto has = [&keyStore](Code code) {
      return std::any_of(keyStore.begin(), keyStore.end(),
                         [code](const Finding& finding) { return finding.code == code; });
    };
    const bool isUnreadable = has(code::kKeyStoreUnreadable);
    if (hosts_.empty()) {
      if (const auto fault = checkProgram(installedHost_, installedHost_)) {
        if (!isBlamed(*fault)) add(Severity::kProblem, {"host"}, *fault);
        return;
      }
      hosts_.push_back({installedHost_, {}});
    }
    for (const HostStart& start : hosts_) {
      if (auto fault = findForeignWriterOfHost(start.host)) {
        fault->cause += "; it was not started";
        add({std::move(*fault), Severity::kProblem, {"host"}, {start.host.string()}});
        continue;
      }
      for (Finding& finding : checkHost(start, !has(code::kModuleHangs))) {
        if (finding.code == code::kHostSilent && start.host != installedHost_ &&
            !checkProgram(installedHost_, installedHost_))
          finding.remedy =
              "run \"vornctl register\" (for all users: \"sudo vornctl register --system\"), which "
              "registers " +
              installedHost_.string();
        if (!isUnreadable || finding.code != code::kHostSearchFailed) add(std::move(finding));
      }
    }
  }

  bool isBlamed(const Fault& fault) const {
    return std::any_of(findings_.begin(), findings_.end(),
                       [&](const Finding& finding) { return finding.cause.starts_with(fault.cause); });
  }

  const Places& places_;
  const fs::path& installedHost_;
  const ExtensionIds& wanted_;
  std::vector<Finding> findings_;
  std::vector<HostStart> hosts_;
  std::vector<std::string> unregistered_;
  std::size_t browsers_ = 0;
};

}  // namespace

std::vector<Finding> examine(const Places& places, const fs::path& installedHost,
                             const ExtensionIds& wanted) {
  return Diagnosis(places, installedHost, wanted).run();
}

}  // namespace vorn::vornctl
