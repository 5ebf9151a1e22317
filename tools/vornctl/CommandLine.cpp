#include "vornctl/CommandLine.h"

#include <CLI/CLI.hpp>
#include <map>

#include "shared/Version.h"
#include "vornctl/Commands.h"

namespace vornctl {
namespace {

const std::map<std::string, System> kSystems = {{"linux", System::kLinux}, {"macos", System::kMacOS}};

void addScope(CLI::App& command, RegisterOptions& options, bool& forSystem) {
  command.add_option("-b,--browser", options.request.browsers, "Only this browser (repeatable)")
      ->check(CLI::IsMember(browserNames()))
      ->type_name("NAME");
  command.add_flag("--system", forSystem, "For all users of this computer, not only for you");
  command.add_flag("-n,--dry-run", options.request.dryRun, "Show what would be done, do nothing");
  command.add_option("--root", options.root, "Folder that stands for / in --system paths, for packaging")
      ->type_name("FOLDER");
  command.add_option("--target-system", options.system, "Use the folders of linux or macos, for packaging")
      ->transform(CLI::CheckedTransformer(kSystems).description(""))
      ->type_name("SYSTEM");
}

void addRegister(CLI::App& app, int& status) {
  struct State {
    RegisterOptions options;
    bool forSystem = false;
  };
  const auto add = [&app, &status](const char* name, const char* what, int (*run)(const RegisterOptions&)) {
    CLI::App* const command = app.add_subcommand(name, what);
    const auto state = std::make_shared<State>();
    addScope(*command, state->options, state->forSystem);
    command->callback([state, run, &status] {
      state->options.request.scope = state->forSystem ? Scope::kSystem : Scope::kUser;
      status = run(state->options);
    });
    return std::pair(command, state);
  };
  const auto [registering, state] = add("register", "Make the host known to the browsers", runRegister);
  registering
      ->add_option(
          "-e,--extension-id", state->options.extensionIds,
          "An extension that may start the host (repeatable): 32 letters for Chromium and its relatives, "
          "name@domain or {GUID} for Firefox")
      ->type_name("ID");
  registering->add_option("--host", state->options.host, "The host's program file")->type_name("FILE");
  registering->add_flag("--all", state->options.request.evenIfMissing,
                        "Also for browsers that are not found");
  add("unregister", "Remove what register wrote", runUnregister);
}

}  // namespace

int runCommandLine(int count, char** arguments) {
  CLI::App app("Registers, checks and uses the VORN signing host.", "vornctl");
  app.set_version_flag("--version", std::string("vornctl ") + version::kFull);
  app.require_subcommand(1);
  app.failure_message([](const CLI::App* at, const CLI::Error& error) {
    return "vornctl: " + std::string(error.what()) + "\nTry: " + at->get_name() + " --help\n";
  });
  int status = kFine;
  addRegister(app, status);
  try {
    app.parse(count, arguments);
  } catch (const CLI::ParseError& error) {
    return app.exit(error) == 0 ? kFine : kUsage;
  }
  return status;
}

}  // namespace vornctl
