#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <iostream>

#include "vornctl/base/Terminal.h"
#include "vornctl/commands/Commands.h"
#include "vornctl/doctor/Host.h"
#include "vornctl/identities/CertificateDescription.h"

namespace vorn::vornctl {
namespace {

namespace fs = std::filesystem;

Colour colourOf(Action action) {
  switch (action) {
    case Action::kFailed:
      return Colour::kBad;
    case Action::kSkipped:
    case Action::kKept:
      return Colour::kFaint;
    default:
      return Colour::kGood;
  }
}

void print(const std::vector<Outcome>& outcomes, bool dryRun) {
  Table table;
  std::string missing;
  for (const Outcome& outcome : outcomes) {
    if (outcome.isMissing) {
      missing += (missing.empty() ? "" : ", ") + outcome.browser;
      continue;
    }
    std::string last = outcome.file.string();
    if (!outcome.reason.empty()) last += (last.empty() ? "" : ": ") + outcome.reason;
    table.add({{outcome.browser}, {wordFor(outcome.action, dryRun), colourOf(outcome.action)}, {last}});
  }
  std::cout << table.text();
  if (!missing.empty()) std::cout << "Not found: " << missing << "; --all registers there, too\n";
}

/** Says for which extensions the host is registered. */
void printExtensions(const std::vector<Outcome>& outcomes) {
  ExtensionIds ids;
  for (const Outcome& outcome : outcomes)
    if (outcome.action != Action::kFailed)
      for (const std::string& id : outcome.ids) ids.add(id);
  for (const Family family : {Family::kChromium, Family::kFirefox}) {
    const char* const browsers = family == Family::kChromium ? "Chromium and its relatives" : "Firefox";
    std::cout << "May sign in " << browsers << ": "
              << (ids.of(family).empty() ? "none" : listed(ids.of(family))) << "\n";
  }
}

bool anyHas(const std::vector<Outcome>& outcomes, std::initializer_list<Action> actions) {
  return std::any_of(outcomes.begin(), outcomes.end(), [&](const Outcome& outcome) {
    return std::find(actions.begin(), actions.end(), outcome.action) != actions.end();
  });
}

void noteForeignHome(const RegisterOptions& options) {
  if (options.request.scope == Scope::kUser && geteuid() == 0 && std::getenv("SUDO_USER") != nullptr) {
    std::cerr
        << "vornctl: note: this concerns the browsers of the user root; without sudo it concerns yours, with "
           "--system everybody's\n";
  }
}

/** Absolute, as browsers demand. */
fs::path hostOf(const RegisterOptions& options) {
  return options.host.empty() ? installedHost() : fs::absolute(options.host).lexically_normal();
}

}  // namespace

int runRegister(const RegisterOptions& options) {
  const fs::path host = hostOf(options);
  // A package is put together in a folder of its own, where the host has another path than it will have.
  if (options.root == "/" && access(host.c_str(), X_OK) != 0) {
    std::cerr << "vornctl: " << printable(host.string())
              << " is no program that can be started; name the host with --host\n";
    return kExitProblems;
  }
  const Places places = Places::ofUser(options.system, options.root);
  RegisteredIds ids;
  try {
    ids.replace = !options.extensionIds.empty();
    ids.ids = ids.replace ? readExtensionIds(options.extensionIds) : configuredExtensionIds(places);
  } catch (const BadExtensionId& e) {
    std::cerr << "vornctl: " << printable(e.what()) << "\n";
    return kExitUsage;
  }
  noteForeignHome(options);
  const auto outcomes = registerHost(places, options.request, host, ids);
  print(outcomes, options.request.dryRun);
  const bool anyIds = std::any_of(outcomes.begin(), outcomes.end(),
                                  [](const Outcome& outcome) { return !outcome.ids.empty(); });
  if (!anyIds && !ids.replace && ids.ids.empty()) {
    std::cerr
        << "vornctl: name the extension that may start the host with --extension-id: none is registered "
           "or configured\n";
    return kExitUsage;
  }
  printExtensions(outcomes);
  if (!anyHas(outcomes, {Action::kWritten, Action::kUnchanged})) {
    std::cerr << "vornctl: no browser was registered\n";
    return kExitProblems;
  }
  return anyHas(outcomes, {Action::kFailed}) ? kExitProblems : kExitFine;
}

int runUnregister(const RegisterOptions& options) {
  noteForeignHome(options);
  RegistrationRequest request = options.request;
  if (!options.host.empty()) request.onlyOfHost = hostOf(options);
  const auto outcomes = unregisterHost(Places::ofUser(options.system, options.root), request);
  print(outcomes, options.request.dryRun);
  if (outcomes.empty()) std::cout << "Nothing is registered.\n";
  return anyHas(outcomes, {Action::kFailed}) ? kExitProblems : kExitFine;
}

}  // namespace vorn::vornctl
