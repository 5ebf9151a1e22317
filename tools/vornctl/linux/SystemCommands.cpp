#include "vornctl/commands/SystemCommands.h"

#include "vornctl/commands/Commands.h"

namespace vorn::vornctl {

void addSystemCommands(CLI::App& app, int& status) {
  CLI::App* command = nullptr;
  const auto import =
      addCommand(app, command, "import", "Put the key and certificate of a .p12 file into the key store",
                 runImport, status, "vornctl import jane.p12");
  command->add_option("FILE", import->file, "The file, .p12 or .pfx")->required();
  command
      ->add_option("--password-file", import->passwordFile, "A file whose first line is the password of FILE")
      ->type_name("FILE");
  command
      ->add_option("--store-password-file", import->storePasswordFile,
                   "A file whose first line is the password of the key store, if that has one")
      ->type_name("FILE");
  const auto remove =
      addCommand(app, command, "remove", "Remove a certificate with its private key from a key store",
                 runRemove, status, "vornctl remove 1920354224474384430");
  command
      ->add_option("SERIAL", remove->serial,
                   "The certificate's serial number, as \"vornctl identities\" shows it")
      ->required();
  command->add_flag("-y,--yes", remove->isAgreed, "Do it without a question");
  const auto trust = addCommand(app, command, "trust", "Trust an authority to say who has signed, for verify",
                                runTrust, status, "vornctl trust authority.pem");
  command->add_option("FILE", trust->file, "Its certificate, PEM or DER")->required();
  command->add_flag("--remove", trust->remove, "Trust it no more");
  command->add_flag("-y,--yes", trust->isAgreed, "Do it without a question");
  const auto confirm = addCommand(
      app, command, "confirm", "Have every request to sign confirmed in a prompt, or say whether it is",
      runConfirm, status, "vornctl confirm on\nsudo vornctl confirm off --system");
  command->add_option("STATE", confirm->state, "on or off; without it nothing is changed")
      ->check(CLI::IsMember({"on", "off"}).description(""));
  command->add_flag("--system", confirm->forAll, "For all users of this computer instead of you");
}

}  // namespace vorn::vornctl
