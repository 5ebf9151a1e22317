#include "vornctl/SystemCommands.h"

#include "vornctl/Commands.h"
#include "vornctl/SubcommandOptions.h"

namespace vorn::vornctl {

void addSystemCommands(CLI::App& app, int& status) {
  CLI::App* command = nullptr;
  const auto import =
      addCommand(app, command, "import", "Put the key and certificate of a .p12 file into the key store",
                 runImport, status);
  command->add_option("FILE", import->file, "The file, .p12 or .pfx")->required();
  command
      ->add_option("--password-file", import->passwordFile, "A file whose first line is the password of FILE")
      ->type_name("TEXT");
  command
      ->add_option("--store-password-file", import->storePasswordFile,
                   "A file whose first line is the password of the key store, if that has one")
      ->type_name("TEXT");
}

}  // namespace vorn::vornctl
