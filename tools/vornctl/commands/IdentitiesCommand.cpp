#include <algorithm>
#include <functional>
#include <iostream>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>

#include "shared/text/LetterCase.h"
#include "vornctl/base/Terminal.h"
#include "vornctl/commands/Commands.h"

namespace vorn::vornctl {
namespace {

struct IdentitiesOptions {
  User user = {};
  bool json = false;
  bool forPage = false; /**< one line, for a person to hand to a page */
};

jsonxx::Object jsonOf(const Fault& reason) {
  return objectOf({{"code", reason.code.text()}, {"cause", reason.cause}, {"remedy", reason.remedy}});
}

jsonxx::Object jsonOf(const IdentityReport& report, const User& user) {
  const CertificateDescription& certificate = report.certificate;
  const auto reasons = arrayOf(report.reasons, [](const Fault& reason) { return jsonOf(reason); });
  jsonxx::Object object = objectOf({{"name", certificate.name},
                                    {"emails", arrayOf(certificate.emails)},
                                    {"abns", arrayOf(certificate.abns)},
                                    {"akis", arrayOf(certificate.akis)},
                                    {"serial", certificate.serial},
                                    {"issuer", certificate.issuer},
                                    {"start", certificate.start},
                                    {"not_yet_valid", certificate.notYetValid},
                                    {"expiry", certificate.expiry},
                                    {"expired", certificate.expired},
                                    {"may_sign", certificate.maySign},
                                    {"token", report.key.token},
                                    {"store", report.key.store},
                                    {"asks_for_pin", report.key.locked},
                                    {"reasons", reasons}});
  if (user.isComplete()) object.import("signs", report.signs());
  return object;
}

const char* verdict(const User& user) {
  if (user.isEmpty()) return "=> can sign";
  return user.isComplete() ? "=> signs" : "=> matches";
}

void print(const IdentityReport& report, const User& user) {
  const CertificateDescription& certificate = report.certificate;
  std::cout << coloured(Colour::kStrong, printable(certificate.name.empty() ? "(no name)" : certificate.name))
            << "\n";
  Table table;
  const auto add = [&table](const char* label, const std::string& text, Colour colour = Colour::kPlain) {
    table.add({{std::string("  ") + label, Colour::kFaint}, {printable(text), colour}});
  };
  add("e-mail", listed(certificate.emails));
  add("ABN", listed(certificate.abns));
  add("AKI", listed(certificate.akis));
  add("serial", certificate.serial);
  add("issuer", certificate.issuer);
  if (certificate.notYetValid)
    add("not before", certificate.start + " (not valid yet: whoever verifies a signature sees that)",
        Colour::kWarning);
  const int days = daysUntil(certificate.expiry);
  const bool isSoon = !certificate.expired && days < kDaysOfNotice;
  add("expires",
      certificate.expiry + (certificate.expired ? " (expired: the host refuses to sign with it)"
                            : isSoon            ? " (" + inDays(days) + ": renew it in time)"
                                                : ""),
      certificate.expired ? Colour::kBad : (isSoon ? Colour::kWarning : Colour::kPlain));
  add("token", report.key.token + (report.key.locked ? " (asks for a PIN or password)" : ""));
  add("store", report.key.store);
  std::cout << table.text();
  if (report.reasons.empty()) std::cout << "  " << coloured(Colour::kGood, verdict(user)) << "\n";
  for (const Fault& reason : report.reasons)
    std::cout << "  "
              << coloured(Colour::kWarning, reason.code == code::kPinBlocked
                                                ? "=> cannot sign until its PIN is unblocked"
                                                : "=> does not sign: " + printable(reason.cause))
              << "\n";
  std::cout << "\n";
}

std::string advice(const Fault& fault) {
  return printable(fault.cause) + "\n-> " + printable(fault.remedy) + "\n";
}

/** The one of the user's name with the fewest reasons against it; null when none has the name. */
const IdentityReport* nearestMiss(const std::vector<IdentityReport>& reports) {
  const IdentityReport* nearest = nullptr;
  for (const IdentityReport& report : reports)
    if (report.named && (nearest == nullptr || report.reasons.size() < nearest->reasons.size()))
      nearest = &report;
  return nearest;
}

/** What a complete user should do when nobody signs. */
void printConclusion(const std::vector<IdentityReport>& reports, const User& user) {
  const auto selected = std::find_if(reports.begin(), reports.end(),
                                     [](const IdentityReport& report) { return report.selected; });
  if (selected != reports.end()) {
    if (selected->signs()) return;
    std::cout << coloured(Colour::kBad,
                          "The host would take " + printable(selected->certificate.name) + " and fail")
              << ": " << advice(selected->reasons.front());
    return;
  }
  std::cout << coloured(Colour::kBad, "The host would sign with none of them.");
  const IdentityReport* const nearest = nearestMiss(reports);
  if (nearest == nullptr) {
    std::cout << " None has the name \"" << printable(user.name)
              << "\".\n-> ask for the name exactly as a certificate has it, or "
              << "import the certificate with its private key\n";
    return;
  }
  std::cout << " Nearest is " << printable(nearest->certificate.name) << ", serial "
            << printable(nearest->certificate.serial) << ":\n";
  for (const Fault& reason : nearest->reasons) std::cout << advice(reason);
}

/** What is known of the user, with all that the identities that fit agree on; none when they do not. */
std::optional<User> completed(const User& known, const std::vector<IdentityReport>& reports) {
  User user = known;
  for (const IdentityReport& report : reports) {
    const CertificateDescription& certificate = report.certificate;
    if (!report.reasons.empty()) continue;
    const auto fill = [](std::string& text, const std::vector<std::string>& own) {
      if (text.empty()) text = own.front();
      return std::any_of(own.begin(), own.end(), [&](const std::string& other) {
        return asciiLowerCase(other) == asciiLowerCase(text);
      });
    };
    if (!fill(user.name, {certificate.name}) || !fill(user.email, certificate.emails) ||
        !fill(user.abn, certificate.abns))
      return std::nullopt;
    if (known.akis.empty())
      user.akis.insert(user.akis.end(), certificate.akis.begin(), certificate.akis.end());
  }
  std::sort(user.akis.begin(), user.akis.end());
  user.akis.erase(std::unique(user.akis.begin(), user.akis.end()), user.akis.end());
  return user.isComplete() ? std::optional(user) : std::nullopt;
}

/** In one line, which survives a clipboard. */
int printForPage(const std::optional<User>& user, std::vector<IdentityReport> reports) {
  if (user) reports = examineIdentities(*user);
  const auto selected = std::find_if(reports.begin(), reports.end(),
                                     [](const IdentityReport& report) { return report.signs(); });
  if (user && selected != reports.end()) {
    const nlohmann::ordered_json line = {{"name", user->name},
                                         {"email", user->email},
                                         {"abn", user->abn},
                                         {"aki", selected->certificate.akis}};
    std::cout << printable(line.dump(-1, ' ', true, nlohmann::json::error_handler_t::replace)) << "\n";
    return kExitFine;
  }
  const bool canAny = std::any_of(reports.begin(), reports.end(),
                                  [](const IdentityReport& report) { return report.reasons.empty(); });
  std::cerr << "vornctl: "
            << (reports.empty()
                    ? "there is no certificate with a private key; \"vornctl import FILE.p12\" brings one in"
                : canAny ? "it is not clear who would sign; name one with --name, --email and --abn:"
                         : "none of the certificates that are here would sign:")
            << "\n";
  const auto isNamed = [](const IdentityReport& report) { return report.named; };
  if (std::any_of(reports.begin(), reports.end(), isNamed)) std::erase_if(reports, std::not_fn(isNamed));
  for (const IdentityReport& report : reports) {
    std::cerr << "  " << printable(report.certificate.name) << ", "
              << printable(listed(report.certificate.emails)) << ", ABN "
              << printable(listed(report.certificate.abns));
    if (!report.reasons.empty())
      std::cerr << ": " << printable(report.reasons.front().cause) << "\n    -> "
                << printable(report.reasons.front().remedy);
    std::cerr << "\n";
  }
  return kExitProblems;
}

int run(IdentitiesOptions options) {
  options.user.abn = abnOfCertificates(options.user.abn);
  std::vector<IdentityReport> reports = examineIdentities(options.user);
  const std::optional<User> known = completed(options.user, reports);
  if (options.forPage) return printForPage(known, std::move(reports));
  if (!options.json && known && !options.user.isEmpty() && !options.user.isComplete()) {
    options.user = *known;
    reports = examineIdentities(options.user);
  }
  if (options.json) {
    const auto json = [&](const IdentityReport& report) { return jsonOf(report, options.user); };
    std::cout << printableJson(jsonxx::Object("identities", arrayOf(reports, json)).json()) << "\n";
  } else {
    for (const IdentityReport& report : reports) print(report, options.user);
    if (reports.empty())
      std::cout << "No key store and no card holds a certificate with a private key. \"vornctl doctor\" "
                   "tells where "
                   "was looked, \"vornctl import\" brings one in from a file.\n";
  }
  if (!options.json && options.user.isComplete() && !reports.empty()) printConclusion(reports, options.user);
  const bool found = std::any_of(reports.begin(), reports.end(), [&](const IdentityReport& report) {
    return options.user.isComplete() ? report.signs() : report.reasons.empty();
  });
  return found ? kExitFine : kExitProblems;
}

}  // namespace

Command identitiesCommand() {
  const auto options = std::make_shared<IdentitiesOptions>();
  Command command = {"identities",
                     "List the identities of the key store, and why each would sign or not",
                     "vornctl identities --name \"Jane Citizen\" --email jane@example.com",
                     {},
                     [options] { return run(*options); }};
  addUserOptions(command.options, options->user);
  command.options.push_back({"--json", "", "Answer in JSON", &options->json});
  command.options.push_back({"--for-page", "",
                             "One line that a page takes: the details of the identity that would sign",
                             &options->forPage});
  return command;
}

void addUserOptions(std::vector<Option>& options, User& user) {
  constexpr const char* kGroup = "Whose certificate";
  const auto plain = [](std::string& aki) -> std::string {
    aki = plainKeyIdentifier(aki);
    return "";
  };
  options.insert(
      options.end(),
      {{"--name", "TEXT", "The name in the certificate (its subject's common name), exactly", &user.name,
        kGroup},
       {"--email", "ADDRESS", "E-mail address in the certificate", &user.email, kGroup},
       {"--abn", "NUMBER", "Australian Business Number in the certificate", &user.abn, kGroup},
       {"--aki",
        "HEX",
        "Key identifier of the authority that issued it, in hexadecimal, colons or not (repeatable)",
        &user.akis,
        kGroup,
        {},
        plain}});
}

}  // namespace vorn::vornctl
