#include <algorithm>
#include <cstdint>
#include <iostream>
#include <stdexcept>

#include "linux/keys/Pkcs12File.h"
#include "linux/keys/StorePlaces.h"
#include "mac/app/CFRef.h"
#include "shared/base/Base64.h"
#include "vornctl/base/Terminal.h"
#include "vornctl/commands/Commands.h"
#include "vornctl/identities/SignerChoice.h"
#include "vornctl/linux/PasswordInput.h"
#include "vornctl/verdict/ChainCheck.h"

namespace vorn::vornctl {
namespace {

namespace fs = std::filesystem;

bool isAgreed(bool already, const std::string& question) {
  if (already) return true;
  std::cout << question << " [y/N] " << std::flush;
  std::string answer;
  return std::getline(std::cin, answer) && (answer == "y" || answer == "Y" || answer == "yes");
}

int change(keys::Change what, const std::string& der, const fs::path& folder) {
  const auto ask = [&](bool retry, prompt::Secret& password) {
    if (retry) std::cerr << "That is not the password of the key store.\n";
    return askForPassword("Password of the key store " + printable(folder.string()), password);
  };
  const keys::Pkcs12Result result =
      keys::changeStore(what, {reinterpret_cast<const std::uint8_t*>(der.data()), der.size()}, folder, ask);
  if (result.status == keys::Pkcs12Status::kFine) {
    std::cout << "Done.\n";
    return kExitFine;
  }
  if (result.status == keys::Pkcs12Status::kAlreadyThere) {
    std::cout << "It is not in " << printable(folder.string()) << "; nothing was changed.\n";
    return kExitFine;
  }
  std::cerr << "vornctl: the key store " << printable(folder.string()) << " does not take the change ("
            << result.detail << ")\n";
  return kExitProblems;
}

int giveUp() {
  std::cout << "Nothing was changed.\n";
  return kExitProblems;
}

std::string nameOf(const std::string& der) {
  const auto data = CFRef<CFDataRef>::adopt(CFDataCreate(
      kCFAllocatorDefault, reinterpret_cast<const UInt8*>(der.data()), static_cast<CFIndex>(der.size())));
  const auto certificate =
      CFRef<SecCertificateRef>::adopt(SecCertificateCreateWithData(kCFAllocatorDefault, data.get()));
  if (!certificate) return "an unreadable certificate";
  const CertificateDescription description = describe(certificate.get());
  return (description.name.empty() ? "(no name)" : description.name) + ", serial " + description.serial +
         ", valid until " + description.expiry.substr(0, sizeof "2030-07-01" - 1);
}

}  // namespace

int runRemove(const RemoveOptions& options) {
  std::vector<IdentityReport> found = examineIdentities({});
  std::erase_if(found, [&](const IdentityReport& report) {
    return !isSerial(options.serial, report.certificate.serial);
  });
  if (found.size() != 1) {
    std::cerr << "vornctl: " << (found.empty() ? "no identity has" : "several identities have")
              << " the serial number " << printable(options.serial)
              << "; \"vornctl identities\" shows what there is\n";
    return kExitProblems;
  }
  const IdentityReport& identity = found.front();
  const auto databases = keys::keyDatabases();
  const auto database = std::find_if(databases.begin(), databases.end(), [&](const keys::KeyDatabase& one) {
    return one.folder == identity.store && !one.isFirefox;
  });
  if (database == databases.end()) {
    std::cerr
        << "vornctl: it is in " << printable(identity.store)
        << ", which is left alone: a card's keys are the business of the card's own software, and those of "
           "a Firefox profile of Firefox\n";
    return kExitProblems;
  }
  const auto der = fromBase64(identity.encoded);
  if (!der) throw KeyStoreError("the certificate cannot be read");
  std::cout << "This removes the certificate of " << printable(nameOf(std::string(der->view())))
            << ",\nwith its private key, from " << printable(identity.store)
            << ". Without a copy, a .p12 file for\ninstance, nobody can ever sign by it again.\n";
  if (!isAgreed(options.isAgreed, "Remove it?")) return giveUp();
  const int status = change(keys::Change::kRemoveWithKey, std::string(der->view()), database->folder);
  for (const IdentityReport& left : examineIdentities({}))
    if (status == kExitFine && left.encoded == identity.encoded)
      std::cout << "It is also in " << printable(left.token) << " (" << printable(left.store)
                << "), which is left alone: documents can still be signed by it.\n";
  return status;
}

int runTrust(const TrustOptions& options) {
  Authorities given;
  try {
    addTrusted(options.file, given);
  } catch (const std::invalid_argument& e) {
    std::cerr << "vornctl: " << printable(std::string_view(e.what()).substr(sizeof "--trusted " - 1)) << "\n";
    return kExitProblems;
  }
  if (given.trusted.size() != 1) {
    std::cerr << "vornctl: " << printable(options.file)
              << " holds several certificates; name one of them alone\n";
    return kExitProblems;
  }
  const fs::path folder = keys::sharedDatabaseForWriting();
  std::cout << "This has " << printable(folder.string()) << ", which Chromium and \"vornctl verify\" read,\n"
            << (options.remove ? "no longer trust " : "trust ") << printable(nameOf(given.trusted.front()))
            << ",\nto say who has signed.\n";
  if (!isAgreed(options.isAgreed, options.remove ? "Take the trust away?" : "Trust it?")) return giveUp();
  return change(options.remove ? keys::Change::kTrustNoMore : keys::Change::kTrust, given.trusted.front(),
                folder);
}

}  // namespace vorn::vornctl
