#include <fcntl.h>
#include <poll.h>
#include <termios.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <iostream>
#include <memory>
#include <stdexcept>
#include <system_error>

#include "linux/frameworks/Security/KeyProcess.h"
#include "linux/keys/Pkcs12File.h"
#include "linux/keys/StorePlaces.h"
#include "linux/prompt/PinPrompt.h"
#include "shared/base/Descriptor.h"
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

constexpr char kInterruption = '\x03';

/** The terminal of this process with its echo off. */
class SilentTerminal {
 public:
  SilentTerminal() : descriptor_(open("/dev/tty", O_RDWR | O_NOCTTY | O_CLOEXEC)) {
    if (!descriptor_ || tcgetattr(descriptor_.get(), &before_) != 0) return;
    termios silent = before_;
    // An interruption comes as a character that ends the line: nothing may leave the terminal without its
    // echo.
    silent.c_lflag &= ~static_cast<tcflag_t>(ECHO | ISIG);
    silent.c_cc[VEOL] = kInterruption;
    isOpen_ = tcsetattr(descriptor_.get(), TCSAFLUSH, &silent) == 0;
  }
  ~SilentTerminal() {
    if (isOpen_) tcsetattr(descriptor_.get(), TCSAFLUSH, &before_);
  }

  bool isOpen() const { return isOpen_; }
  void write(std::string_view text) const { writeAll(descriptor_.get(), text); }
  bool readLine(prompt::Secret& line) const {
    char letter = 0;
    // A terminal gives a line at a time, of which no other copy is made here.
    while (read(descriptor_.get(), &letter, 1) == 1) {
      if (letter == '\n') return true;
      if (letter == kInterruption || !line.append(&letter, 1)) return false;
    }
    return false;
  }

 private:
  Descriptor descriptor_;
  bool isOpen_ = false;
  termios before_{};
};

/** Reads the first line of the file or pipe. Throws an InputFault when it cannot be read. */
void readPassword(const std::string& file, prompt::Secret& password) {
  password.wipe();
  const Descriptor input(open(file.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
  std::string fault = input ? "" : std::generic_category().message(errno);
  // A pipe may be another program's answer. Of one without an end, or such a device, no more is read than a
  // secret has room for, and no other copy is made.
  char letter = 0;
  while (fault.empty()) {
    const ssize_t count = readSome(input.get(), &letter, 1);
    if (count == 0 || (count > 0 && (letter == '\n' || letter == '\r'))) break;
    if (count > 0 && !password.append(&letter, 1)) fault = "too long for a password";
    if (count < 0 && errno != EAGAIN) fault = std::generic_category().message(errno);
    if (count < 0 && fault.empty()) isReady(input.get(), POLLIN, -1);
  }
  if (!fault.empty()) throw InputFault(file + ": " + fault);
}

/** Asks at the terminal, which does not show what is typed, or else by the desktop's prompt. False when there
 * is neither, or the question was given up. */
bool askForPassword(const std::string& question, prompt::Secret& password) {
  password.wipe();
  {
    const SilentTerminal silent;
    if (silent.isOpen()) {
      silent.write(question + ": ");
      const bool isTyped = silent.readLine(password);
      silent.write("\n");
      return isTyped;
    }
  }
  prompt::Question window;
  window.lines = {question};
  window.label = "Password:";
  const prompt::Answer answer = prompt::ask(window, password);
  return answer.outcome == prompt::Answer::Outcome::kGiven;
}

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
      throw std::runtime_error(
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
        throw std::runtime_error(
            "asks for more than 10,000,000 rounds for each try of its password; ask for it once more");
      if (result.status != Pkcs12Status::kWrongPassword)
        throw std::runtime_error("is no PKCS #12 file (.p12, .pfx), or is damaged (" + result.detail + ")");
      if (!options_.passwordFile.empty() || attempt == kAttempts)
        throw std::runtime_error(
            "the password is wrong; letter case counts, and so does the keyboard's layout");
      if (attempt > 0) std::cerr << "That is not the password of the file.\n";
      if (!askForPassword("Password of " + printable(options_.file), password_))
        throw std::runtime_error("it has a password, and none was given; try --password-file");
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
        throw std::runtime_error(
            "the key store " + folder_.string() +
            " has a password, and the right one was not given; try --store-password-file");
      default:
        throw std::runtime_error("the key store " + folder_.string() + " does not take it (" + result.detail +
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
        throw std::runtime_error("was imported, but the search does not find " + identity.certificate.name +
                                 "; \"vornctl doctor\" may tell why");
      if (report->key.locked && identity.faults.empty())
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

bool askForStorePassword(const std::filesystem::path& folder, bool retry, prompt::Secret& password) {
  if (retry) std::cerr << "That is not the password of the key store.\n";
  return askForPassword("Password of the key store " + printable(folder.string()), password);
}

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
