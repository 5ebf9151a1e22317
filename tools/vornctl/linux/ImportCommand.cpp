#include <algorithm>
#include <cstdint>
#include <iostream>
#include <memory>
#include <system_error>

#include "linux/frameworks/Security/KeyStoreReport.h"
#include "linux/keys/Pkcs12File.h"
#include "vornctl/base/InputFile.h"
#include "vornctl/base/Terminal.h"
#include "vornctl/linux/KeyStoreCommands.h"

namespace vorn::vornctl {
namespace {

namespace fs = std::filesystem;
using keys::Pkcs12Result;
using keys::Pkcs12Status;

constexpr int kAttempts = 3;

struct ImportOptions {
  std::string file = {};
  std::string passwordFile = {};      /**< empty to ask at the terminal */
  std::string storePasswordFile = {}; /**< of the key store, if that has one; empty to ask */
};

/** What ends the import, with what to do about it. */
class ImportError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

class Import {
 public:
  explicit Import(const ImportOptions& options)
      : options_(options),
        folder_(keys::sharedDatabaseForWriting()),
        file_(readInput(options.file, kMostOfFile)),
        bytes_(reinterpret_cast<const std::uint8_t*>(file_.data()), file_.size()) {}

  int run() {
    open();
    describeAll();
    const auto fits = [](const Identity& identity) { return identity.faults.empty(); };
    if (identities_.empty())
      throw ImportError(
          "the file holds no private key with its certificate; ask for the file once more, with the private "
          "key");
    if (std::none_of(identities_.begin(), identities_.end(), fits)) {
      std::cout << coloured(Colour::kBad, "Nothing was imported.") << "\n";
      return kExitProblems;
    }
    return store();
  }

 private:
  struct Identity {
    CertificateDescription certificate;
    std::vector<Fault> faults;
  };

  /** Tries the password of the option, or the empty one and then those that are typed, until one fits. */
  void open() {
    if (!options_.passwordFile.empty()) readPassword(options_.passwordFile, password_);
    for (int attempt = 0;; ++attempt) {
      const Pkcs12Result result = keys::readPkcs12(bytes_, password_.text());
      if (result.status == Pkcs12Status::kFine) return keep(result);
      if (result.status == Pkcs12Status::kTooSlow)
        throw ImportError(
            "asks for more than 10,000,000 rounds for each try of its password; ask for it once more");
      if (result.status != Pkcs12Status::kWrongPassword)
        throw ImportError("is no PKCS #12 file (.p12, .pfx), or is damaged (" + result.detail + ")");
      if (!options_.passwordFile.empty() || attempt == kAttempts)
        throw ImportError("the password is wrong; letter case counts, and so does the keyboard's layout");
      if (attempt > 0) std::cerr << "That is not the password of the file.\n";
      if (!askForPassword("Password of " + printable(options_.file), password_))
        throw ImportError("it has a password, and none was given; try --password-file");
    }
  }

  void keep(const Pkcs12Result& result) {
    for (const keys::Pkcs12Certificate& certificate : result.certificates) {
      if (!certificate.hasKey) continue;
      const auto description = describe(std::string(certificate.der.begin(), certificate.der.end()));
      if (description) identities_.push_back({*description, whyItNeverSigns(*description)});
    }
  }

  void describeAll() const {
    for (const auto& [certificate, faults] : identities_) {
      std::cout << coloured(Colour::kStrong,
                            printable(certificate.name.empty() ? "(no name)" : certificate.name))
                << ", " << printable(listed(certificate.emails)) << ", ABN "
                << printable(listed(certificate.abns)) << "\n  issued by " << printable(certificate.issuer)
                << ", AKI " << printable(listed(certificate.akis)) << "\n  serial "
                << printable(certificate.serial) << ", valid until " << certificate.expiry << "\n";
      for (const Fault& fault : faults)
        std::cout << "  " << coloured(Colour::kWarning, "=> can never sign: " + printable(fault.cause))
                  << "\n  -> " << printable(fault.remedy) << "\n";
      if (!faults.empty()) continue;
      std::cout << "  " << coloured(Colour::kGood, "=> can sign") << " for pages that ask for these four\n";
      if (certificate.notYetValid)
        std::cout << "  " << coloured(Colour::kWarning, "but it is not valid before " + certificate.start)
                  << ": whoever verifies a signature sees that\n";
    }
  }

  bool givePassword(bool retry, prompt::Secret& password) const {
    if (!options_.storePasswordFile.empty()) {
      if (!retry) readPassword(options_.storePasswordFile, password);
      return !retry;
    }
    return askForStorePassword(folder_, retry, password);
  }

  int store() const {
    const Pkcs12Result result =
        keys::importPkcs12(bytes_, password_.text(), folder_,
                           [this](bool retry, prompt::Secret& asked) { return givePassword(retry, asked); });
    switch (result.status) {
      case Pkcs12Status::kFine:
        std::cout << "Imported into " << printable(folder_.string())
                  << ". Keep the file in a safe place, or delete it: its key signs for you.\n";
        return confirm();
      case Pkcs12Status::kAlreadyThere:
        std::cout << "It is in " << printable(folder_.string()) << " already; nothing was changed.\n";
        return kExitFine;
      case Pkcs12Status::kStoreLocked:
        throw ImportError("the key store " + folder_.string() +
                          " has a password, and the right one was not given; try --store-password-file");
      default:
        throw ImportError("the key store " + folder_.string() + " does not take it (" + result.detail +
                          "); see whether you may write there, and close other programs that use it");
    }
  }

  /** Whether the search that the host makes finds what was imported. */
  int confirm() const {
    const std::vector<IdentityReport> found = examineIdentities({});
    for (const Identity& identity : identities_) {
      const auto isSame = [&](const IdentityReport& report) {
        return report.certificate.serial == identity.certificate.serial &&
               report.certificate.issuer == identity.certificate.issuer;
      };
      const auto report = std::find_if(found.begin(), found.end(), isSame);
      if (report == found.end())
        throw ImportError("was imported, but the search does not find " + identity.certificate.name +
                          "; \"vornctl doctor\" may tell why");
      if (report->locked && identity.faults.empty())
        std::cout << "You will be asked for the password of this key store when you sign.\n";
    }
    return kExitFine;
  }

  const ImportOptions& options_;
  fs::path folder_;
  const std::string file_;
  const std::span<const std::uint8_t> bytes_;
  prompt::Secret password_; /**< of the file */
  std::vector<Identity> identities_;
};

int run(const ImportOptions& options) try {
  return Import(options).run();
} catch (const std::system_error& e) {
  return fail(kExitProblems, options.file + ": " + e.code().message());
} catch (const std::runtime_error& e) {
  return fail(kExitProblems, options.file + ": " + e.what());
}

}  // namespace

Command importCommand() {
  const auto options = std::make_shared<ImportOptions>();
  return {
      "import",
      "Put the key and certificate of a .p12 file into the key store",
      "vornctl import jane.p12",
      {argument("FILE", "The file, .p12 or .pfx", &options->file),
       {"--password-file", "FILE", "A file whose first line is the password of FILE", &options->passwordFile},
       {"--store-password-file", "FILE",
        "A file whose first line is the password of the key store, if that has one",
        &options->storePasswordFile}},
      [options] { return run(*options); }};
}

}  // namespace vorn::vornctl
