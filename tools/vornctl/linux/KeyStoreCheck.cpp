#include <dlfcn.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <set>
#include <system_error>

#include "linux/frameworks/Security/KeyProcess.h"
#include "linux/keys/StorePlaces.h"
#include "linux/prompt/PromptProcess.h"
#include "shared/base/Platform.h"
#include "vornctl/base/Terminal.h"
#include "vornctl/doctor/Doctor.h"
#include "vornctl/identities/Identities.h"

namespace vorn::vornctl {
namespace {

namespace fs = std::filesystem;
using keys::StoreFault;
using keys::TokenPlace;

constexpr const char* kImport =
    "bring your certificate with its private key in from its file: vornctl import FILE.p12";
constexpr std::size_t kDigitsOfAbn = 11;
constexpr const char* kReaderSocket = "/run/pcscd/pcscd.comm";

std::string described(const IdentityReport& identity) {
  return "the certificate of " + identity.certificate.name + ", serial " + identity.certificate.serial;
}

class KeyStoreDiagnosis {
 public:
  std::vector<Finding> run() {
    std::vector<IdentityReport> identities;
    try {
      identities = examineIdentities({});
    } catch (const KeyStoreError&) {
      // Stores that could not be read are among the faults. The check of the host blames its installation.
      if (const std::string failure = frameworks::KeyProcess::instance().failure(); !failure.empty()) {
        const bool hasNss = dlopen("libnss3.so", RTLD_LAZY) != nullptr;
        add(Severity::kNote, code::kKeyStoreNotSearched,
            "the key store was not looked into: " + (hasNss ? failure : std::string(dlerror())),
            hasNss ? "install the host again"
                   : "install NSS, the library of key stores: sudo apt install libnss3");
        return std::move(findings_);
      }
    }
    places_ = frameworks::KeyProcess::instance().tokenPlaces();
    for (const IdentityReport& identity : identities)
      if (identity.reasons.empty()) usable_.push_back(identity);
    nameStores();
    if (!usable_.empty())
      praise(identities.size());
    else if (!identities.empty())
      blame(identities), explainCards();
    else
      missIdentity();
    checkFaults();
    checkPins();
    for (const fs::path& file : keys::presentConfirmationFiles())
      add(Severity::kFine, code::kConfirmed,
          "every request to sign is to be confirmed in a prompt, as this file is there", "", {file.string()});
    return std::move(findings_);
  }

 private:
  void add(Severity severity, Code code, const std::string& cause, const std::string& remedy,
           std::vector<std::string> files = {}) {
    findings_.push_back({{code, cause, remedy}, severity, {"key store"}, std::move(files)});
  }

  /** What keeps nobody from signing as long as somebody else can sign. */
  Severity graded() const { return usable_.empty() ? Severity::kProblem : Severity::kNote; }

  void nameStores() {
    std::vector<std::string> stores;
    const std::vector<StoreFault> faults = frameworks::KeyProcess::instance().faults();
    for (const keys::KeyDatabase& database : keys::keyDatabases()) {
      const bool isOpen = std::none_of(faults.begin(), faults.end(), [&database](const StoreFault& fault) {
        return fault.place == database.folder;
      });
      if (isOpen) stores.push_back(database.isFirefox ? database.title : database.folder.string());
    }
    std::set<std::string> modules;
    for (const TokenPlace& place : places_)
      if (place.isCard) modules.insert(place.store);
    stores.insert(stores.end(), modules.begin(), modules.end());
    if (!stores.empty()) add(Severity::kFine, code::kKeyStores, "looked into " + listed(stores), "");
  }

  void praise(std::size_t total) {
    const auto asking = std::count_if(usable_.begin(), usable_.end(),
                                      [](const IdentityReport& identity) { return identity.key.locked; });
    add(Severity::kFine, code::kIdentities,
        std::to_string(usable_.size()) + " of " + std::to_string(total) + " identities can sign" +
            (asking > 0 ? ", " + std::to_string(asking) + " of them with a PIN or password" : "") +
            "; \"vornctl identities\" shows them",
        "");
    for (const IdentityReport& identity : usable_) {
      if (identity.certificate.notYetValid) {
        const bool isOnly = usable_.size() == 1;
        add(isOnly ? Severity::kProblem : Severity::kNote, code::kNotValidYet,
            described(identity) + " is not valid before " + identity.certificate.start,
            "wait until then, or sign with another: whoever verifies a signature of now refuses it");
      }
      const int days = daysUntil(identity.certificate.expiry);
      if (days < kDaysOfNotice)
        add(Severity::kNote, code::kExpiresSoon, described(identity) + " expires " + inDays(days),
            "renew the certificate in time, and import the new one");
      for (const std::string& abn : identity.certificate.abns)
        if (abn != kUnreadable &&
            (abn.size() != kDigitsOfAbn || abn.find_first_not_of("0123456789") != std::string::npos))
          add(Severity::kNote, code::kOddAbn,
              described(identity) + " has the ABN \"" + abn + "\", and pages ask for eleven digits",
              "ask \"" + identity.certificate.issuer + "\" for a certificate with the ABN in digits");
    }
    const bool hasLockedProfile =
        std::any_of(usable_.begin(), usable_.end(), [](const IdentityReport& identity) {
          return identity.key.locked && identity.key.token.starts_with("Firefox: ");
        });
    if (hasLockedProfile)
      add(Severity::kNote, code::kFirefoxPassword,
          "Firefox protects a key with its primary password; new releases do so in a form that the system's "
          "NSS cannot open, and takes the right password for a wrong one",
          "should the right one be refused: take the primary password away in Firefox's settings, or save "
          "the certificate there as a .p12 file and bring it in with vornctl import");
    if (asking > 0) checkPrompt(static_cast<std::size_t>(asking) == usable_.size());
  }

  void checkPrompt(bool isNeeded) {
    const prompt::PromptProgram program = prompt::findPromptProgram();
    if (!program.path.empty()) return;
    // Whoever runs this over the network has no display here, but may well have one at the browser.
    const bool hasDisplay =
        !platform::environment("DISPLAY").empty() || !platform::environment("WAYLAND_DISPLAY").empty();
    add(isNeeded && hasDisplay ? Severity::kProblem : Severity::kNote, code::kNoPromptProgram,
        "nobody can ask for a PIN or password from here", program.fault);
  }

  /** None can sign: each cause once, with those that it concerns. */
  void blame(const std::vector<IdentityReport>& identities) {
    std::set<std::string_view> known;
    for (const IdentityReport& identity : identities) {
      const Fault& fault = identity.reasons.front();
      if (fault.code == code::kPinBlocked) continue;  // said of its token
      if (!known.insert(fault.code.word()).second) continue;
      const auto others = std::count_if(
          identities.begin(), identities.end(),
          [&](const IdentityReport& other) { return other.reasons.front().code == fault.code; });
      add(Severity::kProblem, fault.code,
          described(identity) + " can never sign: " + fault.cause +
              (others > 1 ? "; " + std::to_string(others - 1) + (others > 2 ? " others" : " other") + " alike"
                          : ""),
          fault.remedy);
    }
  }

  /** Whether something is amiss with the cards that explains why no identity is found there. */
  bool explainCards() {
    bool isExplained = false;
    for (const TokenPlace& place : places_) {
      if (!place.isCard) continue;
      if (!place.isIn) {
        add(Severity::kProblem, code::kCardOut, "there is no card in the reader \"" + place.name + "\"",
            "put your card in, the right way round", {place.store});
      } else if (place.asksForPin && !place.showsCertificate) {
        add(Severity::kProblem, code::kTokenHidesCertificate,
            "the token \"" + place.name +
                "\" shows no certificate until its PIN is given, and the search asks for none",
            "have its certificate stored as a public object, as most cards have it, or import the "
            "certificate alone into a key store: certutil -A -n NAME -t ,, -i FILE -d sql:" +
                keys::sharedDatabaseFolders().front().string(),
            {place.store});
      } else {
        continue;
      }
      isExplained = true;
    }
    return isExplained;
  }

  void missIdentity() {
    const auto faults = frameworks::KeyProcess::instance().faults();
    const bool isExplained = explainCards() || std::any_of(faults.begin(), faults.end(), &hangs);
    const bool hasDatabase = !keys::keyDatabases().empty();
    // A database that cannot be read is blamed by itself; a module or a reader may be of no concern.
    const bool isUnreadable = std::any_of(faults.begin(), faults.end(), [](const StoreFault& fault) {
      return fault.kind == StoreFault::Kind::kDatabase;
    });
    if (!isUnreadable) {
      isStoreMissed_ = true;
      add(isExplained ? Severity::kNote : Severity::kProblem,
          hasDatabase ? code::kNoIdentity : code::kNoKeyStore,
          hasDatabase ? "no key store holds a certificate with its private key"
                      : "there is no key store, neither one of your own nor one of Firefox's, and no card",
          kImport);
    }
    if (!isExplained) checkReaders();
  }

  void checkReaders() {
    std::error_code unreadable;
    const bool hasReader = std::any_of(places_.begin(), places_.end(), [](const TokenPlace& place) {
      return place.isCard && place.store.find("opensc") != std::string::npos;
    });
    if (!hasReader && !fs::exists(kReaderSocket, unreadable))
      add(Severity::kNote, code::kReaderDaemon,
          "the service for card readers, pcscd, does not run: a smart card would not be seen",
          "if your key is on a card: sudo apt install pcscd opensc, then sudo systemctl start pcscd.socket");
  }

  void checkFaults() {
    const auto databases = keys::keyDatabases();
    for (const StoreFault& fault : frameworks::KeyProcess::instance().faults()) {
      if (fault.kind == StoreFault::Kind::kModule) {
        checkModule(fault);
        continue;
      }
      if (fault.kind == StoreFault::Kind::kFile) {
        add(Severity::kNote, code::kStoreListUnreadable,
            fault.place.string() +
                " cannot be used, and the key stores that it names are left out: " + fault.reason,
            "remove what stands in its place, and have the program that it belongs to make it anew",
            {fault.place.string()});
        continue;
      }
      const bool isFirefox = std::any_of(databases.begin(), databases.end(), [&](const auto& database) {
        return database.isFirefox && database.folder == fault.place;
      });
      add(isFirefox ? Severity::kNote : graded(), code::kKeyStoreUnreadable, fault.reason,
          remedyOf(fault.place));
    }
  }

  static std::string remedyOf(const fs::path& database) {
    if (access(database.c_str(), R_OK | X_OK) != 0) return "chmod 700 " + database.string();
    for (const char* const name : {"cert9.db", "key4.db"}) {
      const fs::path file = database / name;
      if (access(file.c_str(), R_OK) != 0 && errno == EACCES) return "chmod 600 " + file.string();
      std::error_code unreadable;
      if (fs::exists(file, unreadable) && !fs::is_regular_file(file, unreadable))
        return "remove " + file.string() + ", and bring the database back from a copy";
    }
    return "close other programs that use it, and see whether \"certutil -K -d sql:" + database.string() +
           "\" succeeds; a damaged one has to come back from a copy, or its certificates from their files";
  }

  /** As the process for keys says it of a library that it did not wait for. */
  static bool hangs(const StoreFault& fault) {
    return fault.kind == StoreFault::Kind::kModule && fault.reason.starts_with("it does not ");
  }

  void checkModule(const StoreFault& fault) {
    const Severity severity = isStoreMissed_ ? Severity::kNote : graded();
    std::error_code unreadable;
    const bool isMissing = fault.place.is_absolute() && !fs::exists(fault.place, unreadable);
    const std::string library = fault.place.string();
    const std::string drop =
        fault.registration.filename() == "pkcs11.txt"
            ? "take it out of the list: modutil -dbdir sql:" + fault.registration.parent_path().string() +
                  " -list, then -delete NAME"
            : "remove " + fault.registration.string();
    if (isMissing)
      add(severity, code::kModuleMissing, "the library of a token, " + library + ", is not there",
          "install the package that brings it again, or " + drop, {fault.registration.string()});
    else if (hangs(fault))
      add(graded(), code::kModuleHangs,
          "the library of a token, " + library + ", is waited for in vain: " + fault.reason,
          "take the card out and put it in again, see that the reader is connected and no other program "
          "keeps the card for itself, have its service start anew (sudo systemctl restart pcscd), and try "
          "again",
          {fault.registration.string()});
    else
      add(severity, code::kModuleBroken,
          "the library of a token cannot be used: " + library + ": " + fault.reason,
          "see whether its device is connected and its service runs, install it again, or " + drop,
          {fault.registration.string()});
  }

  void checkPins() {
    for (const TokenPlace& place : places_)
      if (place.isPinBlocked)
        add(graded(), code::kPinBlocked,
            "the PIN of the token \"" + place.name + "\" is blocked after wrong ones",
            "unblock it with its PUK, by the program of whoever issued it", {place.store});
      else if (place.isLastTry)
        add(Severity::kNote, code::kPinLastTry, "one more wrong PIN blocks the token \"" + place.name + "\"",
            "look the PIN up before you sign", {place.store});
  }

  bool isStoreMissed_ = false;
  std::vector<IdentityReport> usable_;
  std::vector<TokenPlace> places_;
  std::vector<Finding> findings_;
};

}  // namespace

std::vector<Finding> checkKeyStore() {
  return KeyStoreDiagnosis().run();
}

}  // namespace vorn::vornctl
