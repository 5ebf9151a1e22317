#include "vornctl/commands/Commands.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <iostream>
#include <map>
#include <numeric>

#include "shared/base/SignatureAlgorithm.h"
#include "shared/base/Version.h"
#include "vornctl/base/Terminal.h"
#include "vornctl/commands/HelpText.h"
#include "vornctl/commands/SystemCommands.h"
#include "vornctl/identities/CertificateDescription.h"
#include "vornctl/identities/SignerChoice.h"

namespace vorn::vornctl {
namespace {

const std::map<std::string, System> kSystems = {{"linux", System::kLinux}, {"macos", System::kMacOS}};

constexpr const char* kFooter =
    "Exit status: 0 fine, 1 a problem was found or something failed, 2 wrong usage.\n"
    "Every command has its own help, with examples: vornctl help COMMAND. The manual: man vornctl.";
constexpr const char* kImages = "For packages and images";

void addPlaces(CLI::App& command, RegisterOptions& options) {
  CLI::Option* const browser = command
                                   .add_option("-b,--browser", options.request.browsers,
                                               "Only this browser (repeatable): chrome, chromium, ...")
                                   ->check(CLI::IsMember(browserNames()).description(""))
                                   ->type_name("NAME")
                                   ->allow_extra_args(false);
  CLI::Option* const system = command.add_flag_callback(
      "--system", [&options] { options.request.scope = Scope::kSystem; },
      "For all users of this computer instead of you");
  command.add_flag("-n,--dry-run", options.request.dryRun, "Show what would be done, and do nothing");
  command
      .add_option("--user-data-dir", options.request.dataFolder,
                  "Only the Chromium, or relative of it, that is started with this --user-data-dir")
      ->check([](const std::string& folder) { return folder.empty() ? "no folder is named" : ""; })
      ->type_name("FOLDER")
      ->excludes(browser, system);
  command.add_option("--root", options.root, "The folder that stands for /")
      ->type_name("FOLDER")
      ->group(kImages);
  command.add_option("--target-system", options.system, "Use the folders of linux or macos")
      ->transform(CLI::CheckedTransformer(kSystems).description(""))
      ->type_name("SYSTEM")
      ->group(kImages);
}

void addRegistration(CLI::App& app, int& status) {
  CLI::App* command = nullptr;
  auto options =
      addCommand(app, command, "register", "Make the host known to the browsers", runRegister, status,
                 "vornctl register -e abcdefghijklmnopabcdefghijklmnop -e signing@example.com\n"
                 "sudo vornctl register --system");
  command
      ->add_option(
          "-e,--extension-id", options->extensionIds,
          "An extension that may start the host (repeatable): 32 letters for Chromium and its relatives, "
          "name@domain or {GUID} for Firefox")
      ->type_name("ID")
      ->allow_extra_args(false);
  addPlaces(*command, *options);
  command->add_option("--host", options->host, "The host's program file")->type_name("FILE");
  command->add_flag("--all", options->request.evenIfMissing, "Also for browsers that are not found");

  options = addCommand(app, command, "unregister", "Remove what register wrote", runUnregister, status,
                       "vornctl unregister --browser firefox");
  addPlaces(*command, *options);
  command->add_option("--host", options->host, "Only manifests of this program file")->type_name("FILE");
}

void addUser(CLI::App& command, User& user) {
  constexpr const char* kGroup = "Whose certificate";
  command.add_option("--name", user.name, "The name in the certificate (its subject's common name), exactly")
      ->type_name("TEXT")
      ->group(kGroup);
  command.add_option("--email", user.email, "E-mail address in the certificate")
      ->type_name("ADDRESS")
      ->group(kGroup);
  command.add_option("--abn", user.abn, "Australian Business Number in the certificate")
      ->type_name("NUMBER")
      ->group(kGroup);
  command
      .add_option(
          "--aki", user.akis,
          "Key identifier of the authority that issued it, in hexadecimal, colons or not (repeatable)")
      ->transform(&plainKeyIdentifier, "")
      ->type_name("HEX")
      ->group(kGroup)
      ->allow_extra_args(false);
}

void addDiagnosis(CLI::App& app, int& status) {
  CLI::App* command = nullptr;
  const auto doctor =
      addCommand(app, command, "doctor", "Look for what keeps pages from signing, and say what to do",
                 runDoctor, status, "vornctl doctor -e abcdefghijklmnopabcdefghijklmnop");
  command->add_flag("--json", doctor->json, "Answer in JSON");
  command
      ->add_option("-e,--extension-id", doctor->extensionIds,
                   "An extension that is to start the host (repeatable)")
      ->type_name("ID")
      ->allow_extra_args(false);
  command
      ->add_option("--root", doctor->root,
                   "Folder that stands for / where browsers and manifests are looked for")
      ->type_name("FOLDER");

  const auto identities = addCommand(
      app, command, "identities", "List the identities of the key store, and why each would sign or not",
      runIdentities, status, "vornctl identities --name \"Jane Citizen\" --email jane@example.com");
  addUser(*command, identities->user);
  command->add_flag("--json", identities->json, "Answer in JSON");
  command->add_flag("--for-page", identities->forPage,
                    "One line that a page takes: the details of the identity that would sign");
}

std::vector<std::string> algorithmNames() {
  std::vector<std::string> names;
  for (const NamedAlgorithm& known : kSignatureAlgorithms) names.emplace_back(known.name);
  return names;
}

void addDocuments(CLI::App& app, int& status) {
  CLI::App* command = nullptr;
  const auto sign = addCommand(app, command, "sign", "Sign documents through the host", runSign, status,
                               "vornctl sign agreement.xml\nvornctl sign -o signed/ *.xml");
  command->add_option("FILE", sign->files, "The documents")->required();
  addUser(*command, sign->user);
  command->add_option("--serial", sign->serial, "Serial number of the certificate to sign with")
      ->type_name("NUMBER");
  command
      ->add_option("--algorithm", sign->algorithm,
                   listed(algorithmNames()) + "; " + sign->algorithm + " unless told otherwise")
      ->check(CLI::IsMember(algorithmNames()).description(""))
      ->type_name("NAME");
  command
      ->add_option("-o,--output", sign->output,
                   "Where to write: a file, a folder (NAME.signed.xml), or - for standard output")
      ->type_name("PATH");
  command->add_flag("-f,--force", sign->overwrite,
                    "Overwrite files that are there, and sign what is signed already once more");
  command->add_option("--host", sign->host, "The host's program file")->type_name("PROGRAM");

  const auto verify = addCommand(app, command, "verify", "Check both signatures of documents, and who signed",
                                 runVerify, status,
                                 "vornctl verify --trusted authority.pem agreement.signed.xml\n\n"
                                 "Exit status: 0 all passed, 1 one failed, 3 nothing is wrong, but it is not "
                                 "certain who signed.");
  command->add_option("FILE", verify->files, "The documents")->required();
  command
      ->add_option("-t,--trusted", verify->trusted,
                   "Certificates of authorities to trust, PEM or DER, beside those that the key store trusts "
                   "(repeatable); of a folder, all")
      ->type_name("PATH")
      ->allow_extra_args(false);
  command->add_flag("--no-chain", verify->noChain, "Check whether the parts are intact, and not who signed");
  command
      ->add_option("--time", verify->time,
                   "When certificates have to be valid, in UTC: 2030-07-01 or 2030-07-01T12:00:00Z; now "
                   "unless told otherwise")
      ->type_name("TIME");
  command->add_flag("--json", verify->json, "Answer in JSON");
}

/** How many letters have to be added, taken away or changed to make one of the other. */
std::size_t distance(std::string_view one, std::string_view other) {
  std::vector<std::size_t> row(other.size() + 1);
  std::iota(row.begin(), row.end(), 0U);
  for (const char letter : one) {
    std::size_t diagonal = row[0]++;
    for (std::size_t at = 0; at < other.size(); ++at) {
      const std::size_t changed = diagonal + (letter == other[at] ? 0 : 1);
      diagonal = row[at + 1];
      row[at + 1] = std::min({changed, row[at] + 1, diagonal + 1});
    }
  }
  return row.back();
}

/** Whether the first word is the name of a command, or none was given at all; if not, says what it may have
 * meant. */
bool isCommandOf(const CLI::App& app, const std::string& first) {
  constexpr std::size_t kAlike = 2;
  std::vector<std::string> words = {"help", "-h", "--help", "--version"};
  for (const CLI::App* const command : app.get_subcommands([](const CLI::App*) { return true; }))
    words.push_back(command->get_name());
  std::string meant;
  for (const std::string& word : words) {
    if (first == word) return true;
    if (distance(first, word) <= kAlike && word.size() > kAlike) meant += "; did you mean \"" + word + "\"?";
  }
  if (first.empty()) return true;
  std::cerr << "vornctl: there is no " << (first.front() == '-' ? "option" : "command") << " \""
            << printable(first) << "\"" << meant << "\nTry: vornctl --help\n";
  return false;
}

}  // namespace

int runCommandLine(int count, char** arguments) {
  CLI::App app("Registers the VORN signing host with browsers, looks for faults, signs and verifies.",
               "vornctl");
  app.set_version_flag("--version", std::string("vornctl ") + version::kFull);
  app.require_subcommand(1);
  app.formatter(std::make_shared<HelpText>());
  app.footer(kFooter);
  app.failure_message([](const CLI::App* at, const CLI::Error& error) {
    std::string command = at->get_name();
    for (const CLI::App* const sub : at->get_subcommands()) command += " " + sub->get_name();
    return "vornctl: " + printable(error.what()) + "\nTry: " + command + " --help\n";
  });
  int status = kExitFine;
  addRegistration(app, status);
  addDiagnosis(app, status);
  addSystemCommands(app, status);
  addDocuments(app, status);
  std::vector<std::string> words(arguments + std::min(count, 1), arguments + count);
  if (words.size() > 1 && words.front() == "complete-words") {
    std::cout << completionsOf(app, {words.begin() + 2, words.end()});
    return kExitFine;
  }
  if (!isCommandOf(app, words.empty() ? "" : words.front())) return kExitUsage;
  if (!words.empty() && words.front() == "help") {
    words.erase(words.begin());
    if (!isCommandOf(app, words.empty() ? "" : words.front())) return kExitUsage;
    if (words.size() > 1) {
      std::cerr << "vornctl: help takes the name of one command alone\nTry: vornctl help " << words.front()
                << "\n";
      return kExitUsage;
    }
    words.emplace_back("--help");
  }
  std::reverse(words.begin(), words.end());
  try {
    app.parse(std::move(words));
  } catch (const CLI::ParseError& error) {
    return app.exit(error) == 0 ? kExitFine : kExitUsage;
  }
  return status;
}

}  // namespace vorn::vornctl
