#include "vornctl/identities/SignerChoice.h"

#include <algorithm>
#include <charconv>
#include <cstdint>

#include "shared/text/LetterCase.h"

namespace vorn::vornctl {
namespace {

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

std::string listOf(const std::vector<IdentityReport>& reports, const std::string& separator) {
  std::string list;
  for (const IdentityReport& report : reports)
    list += separator + report.certificate.name + ", serial " + report.certificate.serial + ", until " +
            report.certificate.expiry.substr(0, 10);
  return list;
}

[[noreturn]] void refuse(const std::vector<IdentityReport>& all) {
  if (all.empty())
    throw ChoiceError(
        "there is no certificate with a private key; \"vornctl import\" brings one in from a file");
  std::string reasons;
  for (const IdentityReport& report : all)
    for (const Fault& reason : report.reasons)
      reasons +=
          "\n  " + report.certificate.name + ", serial " + report.certificate.serial + ": " + reason.cause;
  throw ChoiceError("no identity that can sign fits what you ask for" + reasons);
}

}  // namespace

/** As vornctl shows it, or in hexadecimal as other programs do. */
bool isSerial(const std::string& asked, const std::string& shown) {
  const std::string plain = plainKeyIdentifier(asked);
  return asked == shown ||
         plain.substr(std::min(plain.find_first_not_of('0'), plain.size())) == plainSerial(shown);
}

std::string plainKeyIdentifier(const std::string& text) {
  std::string plain = vorn::asciiLowerCase(text);
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
    throw ChoiceError("several identities fit; choose one with --serial, or by name:" +
                      listOf(fitting, "\n  "));
  const CertificateDescription& certificate = fitting.front().certificate;
  const auto isReadable = [](const std::string& abn) { return abn != kUnreadable && !abn.empty(); };
  User user = given;
  if (user.name.empty()) user.name = certificate.name;
  if (user.email.empty()) user.email = certificate.emails.front();
  if (user.abn.empty())
    user.abn = *std::find_if(certificate.abns.begin(), certificate.abns.end(), isReadable);
  if (user.akis.empty()) user.akis = {certificate.akis.front()};
  if (given.isComplete()) return user;
  for (const IdentityReport& report : examineIdentities(user))
    if (report.selected && report.certificate.serial != certificate.serial)
      throw ChoiceError(
          "another identity of the same user goes before serial " + certificate.serial +
          ", as it is valid for longer or, with the same end, found first:" + listOf({report}, "\n  "));
  return user;
}

}  // namespace vorn::vornctl
