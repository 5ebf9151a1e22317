#include <algorithm>
#include <ctime>
#include <iostream>
#include <stdexcept>

#include "mac/app/CFRef.h"
#include "shared/json/jsonxx.h"
#include "shared/xml/XmlLibraries.h"
#include "vornctl/base/InputFile.h"
#include "vornctl/base/Terminal.h"
#include "vornctl/commands/Commands.h"
#include "vornctl/identities/CertificateDescription.h"
#include "vornctl/verdict/DocumentVerdict.h"

namespace vorn::vornctl {
namespace {

// What the host's largest answer holds.
constexpr std::size_t kLargestDocument = std::size_t{48} << 20;

CertificateDescription describeDer(const std::string& der) {
  const auto data = CFRef<CFDataRef>::adopt(CFDataCreate(
      kCFAllocatorDefault, reinterpret_cast<const UInt8*>(der.data()), static_cast<CFIndex>(der.size())));
  const auto certificate =
      CFRef<SecCertificateRef>::adopt(SecCertificateCreateWithData(kCFAllocatorDefault, data.get()));
  return certificate ? describe(certificate.get()) : CertificateDescription{};
}

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

jsonxx::Array jsonOf(const std::vector<Remark>& remarks) {
  jsonxx::Array array;
  for (const Remark& remark : remarks) {
    jsonxx::Object object("code", remark.code);
    object.import("message", remark.message);
    if (!remark.part.empty()) object.import("part", remark.part);
    array << jsonxx::Value(std::move(object));
  }
  return array;
}

/** The name goes by another key unless it can be relied on, so that no program mistakes the one for the
 * other.
 */
jsonxx::Object jsonOf(const std::string& certificate, bool isTrusted) {
  const CertificateDescription description = describeDer(certificate);
  jsonxx::Object object(isTrusted ? "name" : "claims_to_be", description.name);
  object.import("issuer", description.issuer);
  object.import("serial", description.serial);
  object.import("expiry", description.expiry);
  object.import("expired", description.expired);
  return object;
}

jsonxx::Object jsonOf(const DocumentVerdict& verdict) {
  jsonxx::Object object("verdict", std::string(nameOf(verdict.indication)));
  object.import("reasons", jsonOf(verdict.reasons));
  object.import("warnings", jsonOf(verdict.warnings));
  object.import("trusted", verdict.isTrusted);
  if (verdict.signer.empty())
    object.import("signer", jsonxx::Null());
  else
    object.import("signer", jsonOf(verdict.signer, verdict.isTrusted));
  jsonxx::Array chain, parts, uncovered;
  for (const std::string& certificate : verdict.chain) chain << jsonxx::Value(jsonOf(certificate, true));
  for (const PartVerdict& part : verdict.parts) {
    jsonxx::Object each("element", part.elementName);
    each.import("intact", part.isIntact);
    each.import("algorithm", part.algorithm);
    each.import("path", part.path);
    parts << jsonxx::Value(std::move(each));
  }
  for (const std::string& place : verdict.uncovered.places) uncovered << place;
  object.import("chain", std::move(chain));
  object.import("parts", std::move(parts));
  object.import("not_signed", std::move(uncovered));
  object.import("more_not_signed", static_cast<jsonxx::Number>(verdict.uncovered.more));
  return object;
}

Colour colourOf(Indication indication) {
  switch (indication) {
    case Indication::kPassed:
      return Colour::kGood;
    case Indication::kIndeterminate:
      return Colour::kWarning;
    default:
      return Colour::kBad;
  }
}

std::string linesOf(Colour colour, const char* what, const std::vector<Remark>& remarks) {
  std::string lines;
  for (const Remark& remark : remarks) {
    lines +=
        coloured(colour, std::string("  ") + what + ": " + (remark.part.empty() ? "" : remark.part + ": ") +
                             printable(remark.message) + " (" + remark.code + ")") +
        "\n";
  }
  return lines;
}

std::string signerLine(const DocumentVerdict& verdict) {
  if (verdict.signer.empty()) return {};
  const CertificateDescription signer = describeDer(verdict.signer);
  std::string line = verdict.isTrusted ? "  signed by " : "  not known who signed; claims to be ";
  line += (signer.name.empty() ? "somebody without a name" : printable(signer.name)) + ", certificate " +
          printable(signer.serial) + " of " + printable(signer.issuer) + ", valid until " + signer.expiry +
          "\n";
  if (verdict.chain.size() < 2) return line;
  line += "  vouched for by ";
  for (std::size_t i = 1; i < verdict.chain.size(); ++i)
    line += (i > 1 ? ", and that by " : "") + printable(describeDer(verdict.chain[i]).name);
  return line + "\n";
}

bool isUnsigned(const DocumentVerdict& verdict) {
  return !verdict.parts.empty() && std::none_of(verdict.parts.begin(), verdict.parts.end(),
                                                [](const PartVerdict& part) { return part.isSigned; });
}

std::string textOf(const DocumentVerdict& verdict) {
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
  text += linesOf(colourOf(verdict.indication), nameOf(verdict.indication), verdict.reasons);
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
      jsonxx::Object answer("verdict", std::string(nameOf(worst_)));
      answer.import("time", utcText(rules_.time));
      answer.import("files", std::move(results_));
      std::cout << printableJson(answer.json()) << "\n";
    } else if (rules_.authorities) {
      std::cout << coloured(Colour::kFaint,
                            "As of " + utcText(rules_.time) +
                                "; whether a certificate was revoked was not looked up. Each part is signed "
                                "by itself: nothing says that the two belong together.")
                << "\n";
    }
    switch (worst_) {
      case Indication::kPassed:
        return kExitFine;
      case Indication::kIndeterminate:
        return kExitIndeterminate;
      default:
        return kExitProblems;
    }
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
              << coloured(colourOf(verdict.indication),
                          isUnsigned(verdict) ? "not signed" : nameOf(verdict.indication))
              << "\n"
              << textOf(verdict) << "\n";
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

}  // namespace

int runVerify(const VerifyOptions& options) try {
  return Verification(options).run();
} catch (const std::invalid_argument& e) {
  std::cerr << "vornctl: " << printable(e.what()) << "\n";
  return kExitUsage;
}

}  // namespace vorn::vornctl
