#include <algorithm>
#include <ctime>
#include <iostream>
#include <memory>
#include <stdexcept>

#include "shared/xml/XmlLibraries.h"
#include "vornctl/base/InputFile.h"
#include "vornctl/base/Terminal.h"
#include "vornctl/commands/Commands.h"
#include "vornctl/verdict/DocumentVerdict.h"

namespace vorn::vornctl {
namespace {

struct VerifyOptions {
  std::vector<std::string> files = {};
  std::vector<std::string> trusted = {}; /**< files and folders of certificates, beside the key store */
  std::string time = {};                 /**< as of which certificates have to be valid; empty for now */
  bool noChain = false;
  bool json = false;
};

// What the host's largest answer holds.
constexpr std::size_t kLargestDocument = std::size_t{48} << 20;

/** "rsa-sha256" of the whole identifier. */
std::string shortAlgorithm(const std::string& identifier) {
  return identifier.substr(identifier.find('#') + 1);
}

std::string utcText(std::time_t time) {
  std::tm fields{};
  gmtime_r(&time, &fields);
  char text[sizeof "2030-07-01T00:00:00Z"];
  return {text, std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%SZ", &fields)};
}

/** "2030-07-01" or "2030-07-01T12:00:00Z", both in UTC. */
std::time_t timeOf(const std::string& text) {
  for (const char* format : {"%Y-%m-%dT%H:%M:%SZ", "%Y-%m-%d"}) {
    std::tm fields{};
    const char* const end = strptime(text.c_str(), format, &fields);
    if (end == nullptr || *end != '\0') continue;
    const std::time_t time = timegm(&fields);
    // timegm makes 2 March of 30 February: such a day is refused.
    if (utcText(time).starts_with(text.substr(0, sizeof "2030-07-01" - 1))) return time;
  }
  throw std::invalid_argument("--time " + text + ": write it as 2030-07-01 or 2030-07-01T12:00:00Z");
}

/** How each indication is told. */
constexpr struct Telling {
  const char* name;
  Colour colour;
  int exitStatus;
} kTellings[] = {{"passed", Colour::kGood, kExitFine},
                 {"indeterminate", Colour::kWarning, kExitIndeterminate},
                 {"failed", Colour::kBad, kExitProblems}};

const Telling& tellingOf(Indication indication) {
  return kTellings[static_cast<std::size_t>(indication)];
}

jsonxx::Object jsonOf(const Remark& remark) {
  jsonxx::Object object = objectOf({{"code", remark.code}, {"message", remark.message}});
  if (!remark.part.empty()) object.import("part", remark.part);
  return object;
}

/** The name goes by another key unless it can be relied on, so that no program mistakes the one for the
 * other.
 */
jsonxx::Object jsonOf(const std::string& der, bool isTrusted) {
  const CertificateDescription certificate = describe(der).value_or(CertificateDescription());
  return objectOf({{isTrusted ? "name" : "claims_to_be", certificate.name},
                   {"issuer", certificate.issuer},
                   {"serial", certificate.serial},
                   {"expiry", certificate.expiry},
                   {"expired", certificate.expired}});
}

jsonxx::Object jsonOf(const PartVerdict& part) {
  return objectOf({{"element", part.elementName},
                   {"intact", part.isIntact},
                   {"algorithm", part.algorithm},
                   {"path", part.path}});
}

jsonxx::Object jsonOf(const DocumentVerdict& verdict) {
  const auto ofRemark = [](const Remark& remark) { return jsonOf(remark); };
  const auto ofPart = [](const PartVerdict& part) { return jsonOf(part); };
  const auto ofTrusted = [](const std::string& der) { return jsonOf(der, true); };
  const bool isKnown = !verdict.signer.empty();
  return objectOf(
      {{"verdict", tellingOf(verdict.indication).name},
       {"reasons", arrayOf(verdict.reasons, ofRemark)},
       {"warnings", arrayOf(verdict.warnings, ofRemark)},
       {"trusted", verdict.isTrusted},
       {"signer", isKnown ? jsonxx::Value(jsonOf(verdict.signer, verdict.isTrusted)) : jsonxx::Null()},
       {"chain", arrayOf(verdict.chain, ofTrusted)},
       {"parts", arrayOf(verdict.parts, ofPart)},
       {"not_signed", arrayOf(verdict.uncovered.places)},
       {"more_not_signed", verdict.uncovered.more}});
}

std::string linesOf(Colour colour, const char* what, const std::vector<Remark>& remarks) {
  std::string lines;
  for (const Remark& remark : remarks) {
    lines +=
        coloured(colour, std::string("  ") + what + ": " + (remark.part.empty() ? "" : remark.part + ": ") +
                             printable(remark.message) + " (" + std::string(remark.code) + ")") +
        "\n";
  }
  return lines;
}

std::string signerLine(const DocumentVerdict& verdict) {
  if (verdict.signer.empty()) return {};
  const CertificateDescription signer = describe(verdict.signer).value_or(CertificateDescription());
  std::string line = verdict.isTrusted ? "  signed by " : "  not known who signed; claims to be ";
  line += (signer.name.empty() ? "somebody without a name" : printable(signer.name)) + ", certificate " +
          printable(signer.serial) + " of " + printable(signer.issuer) + ", valid until " + signer.expiry +
          "\n";
  if (verdict.chain.size() < 2) return line;
  line += "  vouched for by ";
  for (std::size_t i = 1; i < verdict.chain.size(); ++i)
    line += (i > 1 ? ", and that by " : "") +
            printable(describe(verdict.chain[i]).value_or(CertificateDescription()).name);
  return line + "\n";
}

bool isUnsigned(const DocumentVerdict& verdict) {
  return !verdict.parts.empty() && std::none_of(verdict.parts.begin(), verdict.parts.end(),
                                                [](const PartVerdict& part) { return part.isSigned; });
}

std::string linesOf(const DocumentVerdict& verdict) {
  std::string text = signerLine(verdict);
  Table table;
  for (const PartVerdict& part : verdict.parts) {
    table.add({{"  " + part.elementName},
               {part.isIntact       ? "intact"
                : part.path.empty() ? "missing"
                                    : (part.isSigned ? "NOT INTACT" : "not signed"),
                part.isIntact ? Colour::kPlain : Colour::kBad},
               {part.algorithm.empty() ? "-" : shortAlgorithm(part.algorithm)},
               {part.path.empty() ? "-" : part.path}});
  }
  text += table.text();
  text += linesOf(tellingOf(verdict.indication).colour, tellingOf(verdict.indication).name, verdict.reasons);
  text += linesOf(Colour::kWarning, "warning", verdict.warnings);
  if (verdict.uncovered.places.empty()) return text;
  text += "  not signed:";
  for (const std::string& place : verdict.uncovered.places) text += " " + printable(place);
  if (verdict.uncovered.more > 0) text += " and " + std::to_string(verdict.uncovered.more) + " more";
  return text + "\n";
}

class Verification {
 public:
  explicit Verification(const VerifyOptions& options) : options_(options) {
    rules_.time = options.time.empty() ? std::time(nullptr) : timeOf(options.time);
    if (options.noChain) return;
    rules_.authorities = authoritiesOfKeyStore();
    for (const std::string& path : options.trusted) addTrusted(path, *rules_.authorities);
  }

  int run() {
    startXmlLibraries();
    for (const std::string& file : options_.files) verify(file);
    if (options_.json) {
      const jsonxx::Object answer = objectOf(
          {{"verdict", tellingOf(worst_).name}, {"time", utcText(rules_.time)}, {"files", results_}});
      std::cout << printableJson(answer.json()) << "\n";
    } else if (rules_.authorities) {
      std::cout << coloured(Colour::kFaint,
                            "As of " + utcText(rules_.time) +
                                "; whether a certificate was revoked was not looked up. Each part is signed "
                                "by itself: nothing says that the two belong together.")
                << "\n";
    }
    return tellingOf(worst_).exitStatus;
  }

 private:
  void verify(const std::string& file) {
    try {
      report(file, judge(readInput(file, kLargestDocument), rules_));
    } catch (const InputFault& fault) {
      complain(file, fault.what());
    }
  }

  void report(const std::string& file, const DocumentVerdict& verdict) {
    worst_ = std::max(worst_, verdict.indication);
    if (options_.json) {
      jsonxx::Object result = jsonOf(verdict);
      result.import("file", file);
      results_ << jsonxx::Value(std::move(result));
      return;
    }
    std::cout << coloured(Colour::kStrong, printable(file)) << ": "
              << coloured(tellingOf(verdict.indication).colour,
                          isUnsigned(verdict) ? "not signed" : tellingOf(verdict.indication).name)
              << "\n"
              << linesOf(verdict) << "\n";
  }

  void complain(const std::string& file, const std::string& message) {
    if (options_.json) return report(file, {.reasons = {{"UNREADABLE", message}}});
    worst_ = Indication::kFailed;
    std::cerr << "vornctl: " << printable(file) << ": " << message << "\n";
  }

  const VerifyOptions& options_;
  VerdictRules rules_;
  jsonxx::Array results_;
  Indication worst_ = Indication::kPassed;
};

int run(const VerifyOptions& options) try {
  return Verification(options).run();
} catch (const std::invalid_argument& e) {
  return fail(kExitUsage, e.what());
}

}  // namespace

Command verifyCommand() {
  const auto options = std::make_shared<VerifyOptions>();
  return {"verify",
          "Check both signatures of documents, and who signed",
          "vornctl verify --trusted authority.pem agreement.signed.xml\n\n"
          "Exit status: 0 all passed, 1 one failed, 3 nothing is wrong, but it is not certain who signed.",
          {argument("FILE", "The documents", &options->files),
           {"-t,--trusted", "PATH",
            "Certificates of authorities to trust, PEM or DER, beside those that the key store trusts "
            "(repeatable); of a folder, all",
            &options->trusted},
           {"--no-chain", "", "Check whether the parts are intact, and not who signed", &options->noChain},
           {"--time", "TIME",
            "When certificates have to be valid, in UTC: 2030-07-01 or 2030-07-01T12:00:00Z; now unless told "
            "otherwise",
            &options->time},
           {"--json", "", "Answer in JSON", &options->json}},
          [options] { return run(*options); }};
}

}  // namespace vorn::vornctl
