#include "vornctl/CommandLine.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <iostream>
#include <map>
#include <numeric>

#include "shared/SignatureAlgorithm.h"
#include "shared/Version.h"
#include "vornctl/CertificateDescription.h"
#include "vornctl/Commands.h"
#include "vornctl/SignerChoice.h"
#include "vornctl/SubcommandOptions.h"
#include "vornctl/SystemCommands.h"
#include "vornctl/Terminal.h"

namespace vorn::vornctl {
namespace {

const std::map<std::string, System> kSystems = {{"linux", System::kLinux}, {"macos", System::kMacOS}};

constexpr const char* kFooter =
    "Exit status: 0 fine, 1 a problem was found or something failed, 2 wrong usage; of verify also 3,\n"
    "nothing is wrong but it is not certain who signed.\n"
    "Every command has its own help: vornctl COMMAND --help. More in the manual: man vornctl.";

void addPlaces(CLI::App& command, RegisterOptions& options) {
  command
      .add_option("-b,--browser", options.request.browsers,
                  "Only this browser (repeatable): chrome, chromium, ...")
      ->check(CLI::IsMember(browserNames()).description(""))
      ->type_name("NAME")
      ->allow_extra_args(false);
  command.add_flag_callback(
      "--system", [&options] { options.request.scope = Scope::kSystem; },
      "For all users of this computer instead of you");
  command.add_flag("-n,--dry-run", options.request.dryRun, "Show what would be done, and do nothing");
  command.add_option("--root", options.root, "Folder that stands for / (to put a package together)")
      ->type_name("FOLDER");
  command.add_option("--target-system", options.system, "Use the folders of linux or macos")
      ->transform(CLI::CheckedTransformer(kSystems).description(""))
      ->type_name("SYSTEM");
}

void addRegistration(CLI::App& app, int& status) {
  CLI::App* command = nullptr;
  auto options =
      addCommand(app, command, "register", "Make the host known to the browsers", runRegister, status);
  addPlaces(*command, *options);
  command
      ->add_option(
          "-e,--extension-id", options->extensionIds,
          "An extension that may start the host (repeatable): 32 letters for Chromium and its relatives, "
          "name@domain or {GUID} for Firefox")
      ->type_name("ID")
      ->allow_extra_args(false);
  command->add_option("--host", options->host, "The host's program file")->type_name("FILE");
  command->add_flag("--all", options->request.evenIfMissing, "Also for browsers that are not found");

  options = addCommand(app, command, "unregister", "Remove what register wrote", runUnregister, status);
  addPlaces(*command, *options);
  command->add_option("--host", options->host, "Only manifests of this program file")->type_name("FILE");
}

void addUser(CLI::App& command, User& user) {
  command.add_option("--name", user.name, "Common name of the certificate's subject")->type_name("TEXT");
  command.add_option("--email", user.email, "E-mail address in the certificate")->type_name("ADDRESS");
  command.add_option("--abn", user.abn, "Australian Business Number in the certificate")->type_name("NUMBER");
  command
      .add_option("--aki", user.akis,
                  "Key identifier of the authority, in hexadecimal, colons or not (repeatable)")
      ->transform(&plainKeyIdentifier, "")
      ->type_name("HEX")
      ->allow_extra_args(false);
}

void addDiagnosis(CLI::App& app, int& status) {
  CLI::App* command = nullptr;
  const auto doctor =
      addCommand(app, command, "doctor", "Look for what keeps pages from signing, and say what to do",
                 runDoctor, status);
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

  const auto identities = addCommand(app, command, "identities",
                                     "List the identities of the key store, and why each would sign or not",
                                     runIdentities, status);
  addUser(*command, identities->user);
  command->add_flag("--json", identities->json, "Answer in JSON");
}

std::vector<std::string> algorithmNames() {
  std::vector<std::string> names;
  for (const NamedAlgorithm& known : kSignatureAlgorithms) names.emplace_back(known.name);
  return names;
}

void addDocuments(CLI::App& app, int& status) {
  CLI::App* command = nullptr;
  const auto sign = addCommand(app, command, "sign", "Sign documents through the host", runSign, status);
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
  command->add_flag("-f,--force", sign->overwrite, "Overwrite files that are there");
  command->add_option("--host", sign->host, "The host's program file")->type_name("PROGRAM");

  const auto verify = addCommand(app, command, "verify", "Check both signatures of documents, and who signed",
                                 runVerify, status);
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
  std::string meant;
  for (const CLI::App* const command : app.get_subcommands([](const CLI::App*) { return true; })) {
    if (first == command->get_name()) return true;
    if (distance(first, command->get_name()) <= kAlike)
      meant += "; did you mean \"" + command->get_name() + "\"?";
  }
  if (first.empty() || first.front() == '-') return true;
  std::cerr << "vornctl: there is no command \"" << printable(first) << "\"" << meant
            << "\nTry: vornctl --help\n";
  return false;
}

}  // namespace

int runCommandLine(int count, char** arguments) {
  CLI::App app("Registers the VORN signing host with browsers, looks for faults, signs and verifies.",
               "vornctl");
  app.set_version_flag("--version", std::string("vornctl ") + version::kFull);
  app.require_subcommand(1);
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
  if (!isCommandOf(app, count > 1 ? arguments[1] : "")) return kExitUsage;
  try {
    app.parse(count, arguments);
  } catch (const CLI::ParseError& error) {
    return app.exit(error) == 0 ? kExitFine : kExitUsage;
  }
  return status;
}

}  // namespace vorn::vornctl
