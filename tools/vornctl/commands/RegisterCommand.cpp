#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <iostream>
#include <memory>

#include "vornctl/base/Terminal.h"
#include "vornctl/browsers/BrowserFamily.h"
#include "vornctl/browsers/Registration.h"
#include "vornctl/commands/Commands.h"
#include "vornctl/doctor/Host.h"

namespace vorn::vornctl {
namespace {

namespace fs = std::filesystem;

struct RegisterOptions {
  RegistrationRequest request = {};
  bool forAll = false;
  std::vector<std::string> extensionIds = {};
  std::string host = {}; /**< empty for the one that is installed with vornctl */
  std::string root = "/";
  System system = buildSystem();
};

Colour colourOf(Action action) {
  if (action == Action::kFailed) return Colour::kBad;
  return action == Action::kSkipped || action == Action::kKept ? Colour::kFaint : Colour::kGood;
}

void print(const std::vector<ManifestChange>& changes, bool dryRun) {
  Table table;
  std::vector<std::string> missing;
  for (const ManifestChange& change : changes) {
    if (change.action == Action::kMissing) {
      missing.push_back(change.browser);
      continue;
    }
    std::string last = change.file.string();
    if (!change.reason.empty()) last += (last.empty() ? "" : ": ") + change.reason;
    table.add({{change.browser}, {wordFor(change.action, dryRun), colourOf(change.action)}, {last}});
  }
  std::cout << table.text();
  if (!missing.empty()) std::cout << "Not found: " << listed(missing) << "; --all registers there, too\n";
}

/** Says for which extensions the host is registered. */
void printExtensions(const std::vector<ManifestChange>& changes) {
  ExtensionIds ids;
  for (const ManifestChange& change : changes)
    if (change.action != Action::kFailed)
      for (const std::string& id : change.ids) ids.add(id);
  for (const Family family : {Family::kChromium, Family::kFirefox})
    std::cout << "May sign in " << rulesOf(family).title << ": "
              << (ids.of(family).empty() ? "none" : listed(ids.of(family))) << "\n";
}

bool anyHas(const std::vector<ManifestChange>& changes, std::initializer_list<Action> actions) {
  return std::any_of(changes.begin(), changes.end(), [&](const ManifestChange& change) {
    return std::find(actions.begin(), actions.end(), change.action) != actions.end();
  });
}

/** Sets the scope, and notes whose browsers are concerned. */
void begin(RegisterOptions& options) {
  if (options.forAll) options.request.scope = Scope::kSystem;
  if (!options.forAll && geteuid() == 0 && std::getenv("SUDO_USER") != nullptr)
    std::cerr
        << "vornctl: note: this concerns the browsers of the user root; without sudo it concerns yours, with "
           "--system everybody's\n";
}

/** Absolute, as browsers demand. */
fs::path hostOf(const RegisterOptions& options) {
  return options.host.empty() ? installedHost() : fs::absolute(options.host).lexically_normal();
}

int runRegister(RegisterOptions options) {
  const fs::path host = hostOf(options);
  // A package is put together in a folder of its own, where the host has another path than it will have.
  if (options.root == "/" && access(host.c_str(), X_OK) != 0)
    return fail(kExitProblems,
                host.string() + " is no program that can be started; name the host with --host");
  const Places places = Places::ofUser(options.system, options.root);
  RegisteredIds ids;
  try {
    ids.replace = !options.extensionIds.empty();
    ids.ids = ids.replace ? readExtensionIds(options.extensionIds) : configuredExtensionIds(places);
  } catch (const BadExtensionId& e) {
    return fail(kExitUsage, e.what());
  }
  begin(options);
  const auto changes = registerHost(places, options.request, host, ids);
  print(changes, options.request.dryRun);
  const bool anyIds = std::any_of(changes.begin(), changes.end(),
                                  [](const ManifestChange& change) { return !change.ids.empty(); });
  if (!anyIds && !ids.replace && ids.ids.empty())
    return fail(kExitUsage,
                "name the extension that may start the host with --extension-id: none is registered or "
                "configured");
  printExtensions(changes);
  if (!anyHas(changes, {Action::kWritten, Action::kUnchanged}))
    return fail(kExitProblems, "no browser was registered");
  return anyHas(changes, {Action::kFailed}) ? kExitProblems : kExitFine;
}

int runUnregister(RegisterOptions options) {
  begin(options);
  if (!options.host.empty()) options.request.onlyOfHost = hostOf(options);
  const auto changes = unregisterHost(Places::ofUser(options.system, options.root), options.request);
  print(changes, options.request.dryRun);
  if (changes.empty()) std::cout << "Nothing is registered.\n";
  return anyHas(changes, {Action::kFailed}) ? kExitProblems : kExitFine;
}

/** The options that say where, and that for the host. */
std::vector<Option> placeOptions(RegisterOptions& options, const char* host) {
  constexpr const char* kImages = "For packages and images";
  const auto refuseNone = [](std::string& folder) -> std::string {
    return folder.empty() ? "no folder is named" : "";
  };
  return {{"-b,--browser", "NAME", "Only this browser (repeatable): chrome, chromium, ...",
           &options.request.browsers, kGeneral, browserNames()},
          {"--system", "", "For all users of this computer instead of you", &options.forAll},
          {"-n,--dry-run", "", "Show what would be done, and do nothing", &options.request.dryRun},
          {"--user-data-dir",
           "FOLDER",
           "Only the Chromium, or relative of it, that is started with this --user-data-dir",
           &options.request.dataFolder,
           kGeneral,
           {},
           refuseNone,
           {"--browser", "--system"}},
          {"--root", "FOLDER", "The folder that stands for /", &options.root, kImages},
          {"--target-system",
           "SYSTEM",
           "Use the folders of linux or macos",
           &options.system,
           kImages,
           {"linux", "macos"}},
          {"--host", "FILE", host, &options.host}};
}

}  // namespace

Command registerCommand() {
  const auto options = std::make_shared<RegisterOptions>();
  std::vector<Option> all = placeOptions(*options, "The host's program file");
  all.insert(all.begin(),
             Option{"-e,--extension-id", "ID",
                    "An extension that may start the host (repeatable): 32 letters for Chromium and its "
                    "relatives, name@domain or {GUID} for Firefox",
                    &options->extensionIds});
  all.push_back({"--all", "", "Also for browsers that are not found", &options->request.evenIfMissing});
  return {"register", "Make the host known to the browsers",
          "vornctl register -e abcdefghijklmnopabcdefghijklmnop -e signing@example.com\n"
          "sudo vornctl register --system",
          std::move(all), [options] { return runRegister(*options); }};
}

Command unregisterCommand() {
  const auto options = std::make_shared<RegisterOptions>();
  return {"unregister", "Remove what register wrote", "vornctl unregister --browser firefox",
          placeOptions(*options, "Only manifests of this program file"),
          [options] { return runUnregister(*options); }};
}

}  // namespace vorn::vornctl
