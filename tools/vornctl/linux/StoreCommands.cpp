#include <algorithm>
#include <cstdint>
#include <iostream>
#include <memory>
#include <stdexcept>
#include <system_error>

#include "linux/keys/Pkcs12File.h"
#include "linux/keys/StorePlaces.h"
#include "shared/base/Base64.h"
#include "vornctl/base/AtomicFile.h"
#include "vornctl/base/Terminal.h"
#include "vornctl/linux/KeyStoreCommands.h"
#include "vornctl/verdict/ChainCheck.h"

namespace vorn::vornctl {
namespace {

namespace fs = std::filesystem;

struct RemoveOptions {
  std::string serial = {};
  bool isAgreed = false; /**< nobody is asked */
};

struct TrustOptions {
  std::string file = {};
  bool remove = false;
  bool isAgreed = false;
};

struct ConfirmOptions {
  std::string state = {}; /**< "on", "off", or empty to say which */
  bool forAll = false;
};

/** Asks unless it is agreed already, and says when it is not. */
bool isAgreed(bool already, const std::string& question) {
  if (already) return true;
  std::cout << question << " [y/N] " << std::flush;
  std::string answer;
  if (std::getline(std::cin, answer) && (answer == "y" || answer == "Y" || answer == "yes")) return true;
  std::cout << "Nothing was changed.\n";
  return false;
}

int change(keys::Change what, const std::string& der, const fs::path& folder) {
  const auto ask = [&](bool retry, prompt::Secret& password) {
    return askForStorePassword(folder, retry, password);
  };
  const keys::Pkcs12Result result =
      keys::changeStore(what, {reinterpret_cast<const std::uint8_t*>(der.data()), der.size()}, folder, ask);
  const bool isDone = result.status == keys::Pkcs12Status::kFine;
  if (!isDone && result.status != keys::Pkcs12Status::kAlreadyThere)
    return fail(kExitProblems,
                "the key store " + folder.string() + " does not take the change (" + result.detail + ")");
  std::cout << (isDone ? "Done." : "It is not in " + printable(folder.string()) + "; nothing was changed.")
            << "\n";
  return kExitFine;
}

std::string described(const std::string& der) {
  const auto certificate = describe(der);
  if (!certificate) return "an unreadable certificate";
  return (certificate->name.empty() ? "(no name)" : certificate->name) + ", serial " + certificate->serial +
         ", valid until " + certificate->expiry.substr(0, sizeof "2030-07-01" - 1);
}

int runRemove(const RemoveOptions& options) {
  std::vector<IdentityReport> found = examineIdentities({});
  std::erase_if(found, [&](const IdentityReport& report) {
    return !isSerial(options.serial, report.certificate.serial);
  });
  if (found.size() != 1)
    return fail(kExitProblems, (found.empty() ? "no identity has" : "several identities have") +
                                   (" the serial number " + options.serial) +
                                   "; \"vornctl identities\" shows what there is");
  const IdentityReport& identity = found.front();
  const auto databases = keys::keyDatabases();
  const auto database = std::find_if(databases.begin(), databases.end(), [&](const keys::KeyDatabase& one) {
    return one.folder == identity.key.store && !one.isFirefox;
  });
  if (database == databases.end())
    return fail(kExitProblems,
                "it is in " + identity.key.store +
                    ", which is left alone: a card's keys are the business of the card's own software, and "
                    "those of a Firefox profile of Firefox");
  const auto bytes = fromBase64(identity.encoded);
  if (!bytes) throw KeyStoreError("the certificate cannot be read");
  const std::string der(bytes->view());
  std::cout << "This removes the certificate of " << printable(described(der))
            << ",\nwith its private key, from " << printable(identity.key.store)
            << ". Without a copy, a .p12 file for\ninstance, nobody can ever sign by it again.\n";
  if (!isAgreed(options.isAgreed, "Remove it?")) return kExitProblems;
  const int status = change(keys::Change::kRemoveWithKey, der, database->folder);
  for (const IdentityReport& left : examineIdentities({}))
    if (status == kExitFine && left.encoded == identity.encoded)
      std::cout << "It is also in " << printable(left.key.token) << " (" << printable(left.key.store)
                << "), which is left alone: documents can still be signed by it.\n";
  return status;
}

int runTrust(const TrustOptions& options) {
  Authorities given;
  try {
    addTrusted(options.file, given);
  } catch (const std::invalid_argument& e) {
    return fail(kExitProblems, std::string(e.what()).substr(sizeof "--trusted " - 1));
  }
  if (given.trusted.size() != 1)
    return fail(kExitProblems, options.file + " holds several certificates; name one of them alone");
  const fs::path folder = keys::sharedDatabaseForWriting();
  std::cout << "This has " << printable(folder.string()) << ", which Chromium and \"vornctl verify\" read,\n"
            << (options.remove ? "no longer trust " : "trust ") << printable(described(given.trusted.front()))
            << ",\nto say who has signed.\n";
  if (!isAgreed(options.isAgreed, options.remove ? "Take the trust away?" : "Trust it?"))
    return kExitProblems;
  return change(options.remove ? keys::Change::kTrustNoMore : keys::Change::kTrust, given.trusted.front(),
                folder);
}

int runConfirm(const ConfirmOptions& options) {
  const std::vector<fs::path> files = keys::confirmationFiles();
  const fs::path& file = options.forAll ? files.front() : files.back();
  try {
    if (options.state == "on") {
      fs::create_directories(file.parent_path());
      constexpr mode_t kForAll = 0644;
      writeFileAtomically(file, "Every request to sign is confirmed as long as this file is here.\n",
                          {.mode = kForAll});
    } else if (options.state == "off") {
      fs::remove(file);
    }
  } catch (const std::system_error& e) {
    return fail(kExitProblems,
                file.string() + ": " + e.code().message() + (options.forAll ? "; use sudo" : ""));
  }
  const std::vector<fs::path> present = keys::presentConfirmationFiles();
  std::cout << (present.empty() ? "Keys without a PIN sign without a question."
                                : "Every request to sign is confirmed.")
            << "\n";
  for (const fs::path& reason : present) std::cout << "  " << printable(reason.string()) << "\n";
  return kExitFine;
}

}  // namespace

std::vector<Command> systemCommands() {
  const auto remove = std::make_shared<RemoveOptions>();
  const auto trust = std::make_shared<TrustOptions>();
  const auto confirm = std::make_shared<ConfirmOptions>();
  return {
      importCommand(),
      {"remove",
       "Remove a certificate with its private key from a key store",
       "vornctl remove 1920354224474384430",
       {argument("SERIAL", "The certificate's serial number, as \"vornctl identities\" shows it",
                 &remove->serial),
        {"-y,--yes", "", "Do it without a question", &remove->isAgreed}},
       [remove] { return runRemove(*remove); }},
      {"trust",
       "Trust an authority to say who has signed, for verify",
       "vornctl trust authority.pem",
       {argument("FILE", "Its certificate, PEM or DER", &trust->file),
        {"--remove", "", "Trust it no more", &trust->remove},
        {"-y,--yes", "", "Do it without a question", &trust->isAgreed}},
       [trust] { return runTrust(*trust); }},
      {"confirm",
       "Have every request to sign confirmed in a prompt, or say whether it is",
       "vornctl confirm on\nsudo vornctl confirm off --system",
       {{"STATE", "", "on or off; without it nothing is changed", &confirm->state, kGeneral, {"on", "off"}},
        {"--system", "", "For all users of this computer instead of you", &confirm->forAll}},
       [confirm] { return runConfirm(*confirm); }}};
}

}  // namespace vorn::vornctl
