#include "vornctl/identities/Identities.h"

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <iterator>
#include <set>
#include <utility>

#include "mac/app/CFValues.h"
#include "mac/app/CertificateDetails.h"
#include "mac/app/CertificateMatching.h"
#include "mac/app/CertificateSelection.h"
#include "shared/base/Exceptions.h"
#include "shared/text/LetterCase.h"
#include "vornctl/base/Terminal.h"

namespace vorn::vornctl {
namespace {

/** The host's search; without a name, or without the demand that the key may sign, if so asked. */
CFRef<CFTypeRef> search(const std::string& name, bool mustSign) {
  const CFRef<CFStringRef> subject = makeCFString(name);
  const void* keys[] = {kSecClass, kSecAttrCanSign, kSecMatchLimit, kSecReturnRef,
                        kSecMatchSubjectWholeString};
  const void* values[] = {kSecClassIdentity, mustSign ? kCFBooleanTrue : kCFBooleanFalse, kSecMatchLimitAll,
                          kCFBooleanTrue, subject.get()};
  const auto count = static_cast<CFIndex>(std::size(keys)) - (name.empty() ? 1 : 0);
  const auto query = CFRef<CFDictionaryRef>::adopt(
      CFDictionaryCreate(kCFAllocatorDefault, keys, values, count, nullptr, nullptr));
  CFRef<CFTypeRef> identities;
  const OSStatus status = subject ? SecItemCopyMatching(query.get(), identities.out()) : errSecItemNotFound;
  if (status != errSecSuccess && status != errSecItemNotFound)
    throw KeyStoreError("the key store cannot be searched, system error code " + std::to_string(status));
  return identities;
}

template <typename Visit>
void forEachCertificate(const CFRef<CFTypeRef>& identities, Visit visit) {
  const auto* const array = ofType<CFArrayRef>(identities.get(), CFArrayGetTypeID());
  for (CFIndex i = 0; i < countOf(array); ++i) {
    const auto identity = static_cast<SecIdentityRef>(const_cast<void*>(CFArrayGetValueAtIndex(array, i)));
    CFRef<SecCertificateRef> certificate;
    if (SecIdentityCopyCertificate(identity, certificate.out()) == errSecSuccess)
      visit(identity, certificate.get());
  }
}

/** The certificates that the search gives, in base64. */
std::set<std::string> certificatesFound(const std::string& name, bool mustSign) {
  std::set<std::string> found;
  forEachCertificate(search(name, mustSign), [&found](SecIdentityRef, SecCertificateRef certificate) {
    found.insert(encodeCertificate(certificate));
  });
  return found;
}

/** The certificate that the host would take, in base64; empty when it would take none. */
std::string selectedCertificate(const User& user) {
  CertificateSelection& selection = CertificateSelection::getInstance();
  selection.reset();
  try {
    selection.initialise(detailsOf(user));
  } catch (const CertificateNotFoundException&) {
    return "";
  } catch (const BaseException& e) {
    throw KeyStoreError(e.message());
  }
  return selection.getEncodedCertificate();
}

/** The user as the host compares it. */
SelectionCriteria criteriaOf(const User& user) {
  SelectionCriteria criteria{user.name, asciiLowerCase(user.email), user.abn, {}};
  for (const std::string& aki : user.akis) criteria.akis.push_back(asciiLowerCase(aki));
  return criteria;
}

class Examination {
 public:
  explicit Examination(const User& user)
      : user_(user),
        criteria_(criteriaOf(user)),
        named_(certificatesFound(user.name, false)),
        signing_(certificatesFound("", true)),
        selected_(user.isComplete() ? selectedCertificate(user) : "") {}

  IdentityReport examine(SecIdentityRef identity, SecCertificateRef certificate) const {
    IdentityReport report{describe(certificate), placeOfKey(identity), encodeCertificate(certificate)};
    const std::string& encoded = report.encoded;
    if (!user_.isEmpty()) {
      report.reasons = reasons(report.certificate, certificate, encoded);
      report.named = named_.count(encoded) > 0;
      report.selected = report.reasons.empty() && !selected_.empty() && encoded == selected_;
      if (report.reasons.empty() && user_.isComplete() && !report.selected)
        report.reasons.push_back({code::kAnotherPreferred,
                                  "it matches, but the host takes another that matches: that is valid for "
                                  "longer or, with the same end, found first",
                                  "nothing needs to be done: that other one signs for the same user"});
    }
    addUnlessKnown(report.reasons, whyItNeverSigns(report.certificate));
    if (report.key.isPinBlocked)
      report.reasons.push_back(
          {code::kPinBlocked, "the PIN of the token \"" + report.key.token + "\" is blocked after wrong ones",
           "unblock it with its PUK, by the program of whoever issued it"});
    return report;
  }

 private:
  /** A request's fault and the general one are the same: "aki" and "no-aki". */
  static void addUnlessKnown(std::vector<Fault>& reasons, std::vector<Fault> faults) {
    for (Fault& fault : faults) {
      const bool isKnown = std::any_of(reasons.begin(), reasons.end(), [&](const Fault& reason) {
        const std::string_view word = fault.code.word();
        return fault.code == reason.code || word == "no-" + reason.code.text() ||
               word == "odd-" + reason.code.text();
      });
      if (!isKnown) reasons.push_back(std::move(fault));
    }
  }

  std::vector<Fault> reasons(const CertificateDescription& own, SecCertificateRef certificate,
                             const std::string& encoded) const {
    const CFRef<CFDictionaryRef> values = copySelectionValues(certificate);
    if (!values)
      return {{code::kCertificateUnreadable, "its certificate cannot be read",
               "have the certificate issued again"}};
    std::vector<Fault> found;
    const auto require = [&found](bool passed, Fault fault) {
      if (!passed) found.push_back(std::move(fault));
    };
    require(named_.count(encoded) > 0,
            {code::kName, "its name is \"" + own.name + "\", not \"" + user_.name + "\"",
             "ask for the name exactly as the certificate has it"});
    require(user_.email.empty() || certificateEmailMatches(certificate, criteria_.email),
            {code::kEmail,
             own.emails.empty() ? "it has no e-mail address"
                                : "its e-mail address is " + listed(own.emails) + ", not " + user_.email,
             "ask for the address that the certificate has"});
    require(user_.abn.empty() || certificateABNMatches(values.get(), criteria_.abn),
            {code::kAbn,
             own.abns.empty() ? "it has no ABN" : "its ABN is " + listed(own.abns) + ", not " + user_.abn,
             "ask for the ABN of the certificate, or import the certificate for that ABN"});
    require(
        user_.akis.empty() || certificateAKIMatches(values.get(), criteria_.akis),
        {code::kAki,
         own.akis.empty() ? "it has no authority key identifier (AKI)"
                          : "its authority key identifier (AKI) is " + listed(own.akis) +
                                ", which is not among those that are asked for: " + listed(criteria_.akis),
         "the page has to accept this authority, \"" + own.issuer +
             "\", or you need a certificate of one that it accepts"});
    require(isSigningCertificate(values.get()),
            {code::kKeyUsage, "its key usage does not include digital signatures",
             "have a certificate issued that does"});
    require(signing_.count(encoded) > 0,
            {code::kKeyMayNotSign, "its private key may not sign", "import a key that may"});
    return found;
  }

  const User& user_;
  SelectionCriteria criteria_;
  std::set<std::string> named_;
  std::set<std::string> signing_;
  std::string selected_;
};

/** In hexadecimal without zeros in front. Short numbers are shown in decimal; nobody types those so. */
std::string plainSerial(const std::string& shown) {
  std::string digits = plainKeyIdentifier(shown);
  constexpr std::size_t kLongestDecimal = 20;
  const bool isDecimal = shown.size() <= kLongestDecimal && digits.size() == shown.size();
  std::uint64_t number = 0;
  const auto [end, failure] = std::from_chars(shown.data(), shown.data() + shown.size(), number);
  if (isDecimal && failure == std::errc() && end == shown.data() + shown.size()) {
    char text[16];
    digits.assign(text, std::to_chars(text, text + sizeof text, number, 16).ptr);
  }
  return digits.substr(std::min(digits.find_first_not_of('0'), digits.size()));
}

std::string nameAndSerial(const IdentityReport& report) {
  return "\n  " + report.certificate.name + ", serial " + report.certificate.serial;
}

std::string listOf(const std::vector<IdentityReport>& reports) {
  std::string list;
  for (const IdentityReport& report : reports)
    list += nameAndSerial(report) + ", until " + report.certificate.expiry.substr(0, 10);
  return list;
}

[[noreturn]] void refuse(const std::vector<IdentityReport>& all) {
  if (all.empty())
    throw ChoiceError(
        "there is no certificate with a private key; \"vornctl import\" brings one in from a file");
  std::string reasons;
  for (const IdentityReport& report : all)
    for (const Fault& reason : report.reasons) reasons += nameAndSerial(report) + ": " + reason.cause;
  throw ChoiceError("no identity that can sign fits what you ask for" + reasons);
}

}  // namespace

jsonxx::Object detailsOf(const User& user) {
  jsonxx::Array akis;
  for (const std::string& aki : user.akis) akis << jsonxx::Value(aki);
  jsonxx::Object details("name", user.name);
  details.import("email", user.email);
  details.import("abn", user.abn);
  details.import("aki", std::move(akis));
  return details;
}

std::vector<IdentityReport> examineIdentities(const User& user) {
  std::vector<IdentityReport> reports;
  const CFRef<CFTypeRef> all = search("", false);
  const Examination examination(user);
  forEachCertificate(all, [&](SecIdentityRef identity, SecCertificateRef certificate) {
    reports.push_back(examination.examine(identity, certificate));
  });
  return reports;
}

std::string abnOfCertificates(const std::string& typed) {
  std::string plain = typed;
  std::erase(plain, ' ');
  if (plain == typed) return typed;
  const std::vector<IdentityReport> reports = examineIdentities({});
  const bool isThere = std::any_of(reports.begin(), reports.end(), [&](const IdentityReport& report) {
    const std::vector<std::string>& abns = report.certificate.abns;
    return std::find(abns.begin(), abns.end(), typed) != abns.end();
  });
  return isThere ? typed : plain;
}

/** As vornctl shows it, or in hexadecimal as other programs do. */
bool isSerial(const std::string& asked, const std::string& shown) {
  const std::string plain = plainKeyIdentifier(asked);
  return asked == shown ||
         plain.substr(std::min(plain.find_first_not_of('0'), plain.size())) == plainSerial(shown);
}

std::string plainKeyIdentifier(const std::string& text) {
  std::string plain = asciiLowerCase(text);
  const auto isSeparator = [](char c) { return c == ':' || c == ' '; };
  plain.erase(std::remove_if(plain.begin(), plain.end(), isSeparator), plain.end());
  return plain;
}

User chooseSigner(User given, const std::string& serial) {
  given.abn = abnOfCertificates(given.abn);
  if (given.isComplete() && serial.empty()) return given;
  const std::vector<IdentityReport> all = examineIdentities(given);
  std::vector<IdentityReport> fitting;
  std::copy_if(all.begin(), all.end(), std::back_inserter(fitting), [&](const IdentityReport& report) {
    // Of a complete user's identities, the one that the host takes is the only one without a reason against
    // it.
    return report.reasons.empty() && (serial.empty() || isSerial(serial, report.certificate.serial));
  });
  if (fitting.empty()) refuse(all);
  if (fitting.size() > 1)
    throw ChoiceError("several identities fit; choose one with --serial, or by name:" + listOf(fitting));
  const CertificateDescription& certificate = fitting.front().certificate;
  User user = given;
  if (user.name.empty()) user.name = certificate.name;
  if (user.email.empty()) user.email = certificate.emails.front();
  if (user.abn.empty())
    user.abn = *std::find_if(certificate.abns.begin(), certificate.abns.end(), &isReadable);
  if (user.akis.empty()) user.akis = {certificate.akis.front()};
  if (given.isComplete()) return user;
  for (const IdentityReport& report : examineIdentities(user))
    if (report.selected && report.certificate.serial != certificate.serial)
      throw ChoiceError("another identity of the same user goes before serial " + certificate.serial +
                        ", as it is valid for longer or, with the same end, found first:" + listOf({report}));
  return user;
}

}  // namespace vorn::vornctl
