#include "vornctl/verdict/DocumentVerdict.h"

#include <algorithm>
#include <set>
#include <xercesc/dom/DOMDocument.hpp>

#include "shared/base/Exceptions.h"
#include "shared/text/LetterCase.h"
#include "shared/verification/DocumentCheck.h"
#include "shared/xml/Namespaces.h"
#include "shared/xml/ParsedDocument.h"
#include "shared/xml/SignatureWarnings.h"
#include "shared/xml/XmlLibraries.h"
#include "shared/xml/XmlText.h"

namespace vorn::vornctl {
namespace {

using verification::PartCheck;
using verification::PartChecks;

constexpr int kStrongKey = 2048;

class Judgement {
 public:
  explicit Judgement(const VerdictRules& rules) : rules_(rules) {}

  DocumentVerdict of(ParsedDocument& parsed) {
    const PartChecks checks = verification::checkDocument(parsed.document());
    verdict_.indication = Indication::kPassed;
    for (const PartCheck& part : checks) take(part);
    takeSigner(checks);
    takeWarnings(parsed);
    if (verdict_.indication != Indication::kFailed) {
      takeChain();
      verdict_.uncovered =
          verification::uncoveredBy({checks[0].element, checks[1].element}, parsed.document());
    }
    return std::move(verdict_);
  }

  DocumentVerdict ofUnreadable(const std::string& reason) {
    lower(Indication::kFailed, {verification::kFormatFailure, reason});
    return std::move(verdict_);
  }

 private:
  void lower(Indication to, Remark reason) {
    verdict_.indication = std::max(verdict_.indication, to);
    verdict_.reasons.push_back(std::move(reason));
  }

  void take(const PartCheck& part) {
    const std::string& name = part.elementName;
    const std::string path = part.element != nullptr ? verification::pathOf(*part.element) : "";
    const bool isSigned = part.isIntact() || part.fault->code != verification::kNotSigned;
    verdict_.parts.push_back({name, path, part.algorithm, part.isIntact(), isSigned});
    if (!part.isIntact()) return lower(Indication::kFailed, {part.fault->code, part.fault->message, name});
    if (!part.maySign)
      lower(Indication::kFailed, {"KEY_USAGE",
                                  "the signer's certificate is not for digital signatures: its key usage, or "
                                  "its extended key usage, is for others",
                                  name});
    if (part.keyBits < kStrongKey)
      warn({"weak-key", "a key of " + std::to_string(part.keyBits) + " bits is weak", name});
    if (part.method == SignatureAlgorithm::RSA_SHA1) isDigestWeak_ = true;
  }

  void takeSigner(const PartChecks& checks) {
    for (const PartCheck& part : checks)
      if (verdict_.signer.empty()) verdict_.signer = part.certificate;
    if (!checks[0].isIntact() || !checks[1].isIntact() || checks[0].certificate == checks[1].certificate)
      return;
    verdict_.signer.clear();
    lower(Indication::kFailed,
          {"DIFFERENT_SIGNERS", "the two parts were signed with different certificates"});
  }

  void warn(Remark remark) { verdict_.warnings.push_back(std::move(remark)); }

  void takeWarnings(ParsedDocument& parsed) {
    const auto weak = isDigestWeak_ ? std::optional(SignatureAlgorithm::RSA_SHA1) : std::nullopt;
    for (SignatureWarning& warning : warningsOf(parsed, SigningStage::kAfter, weak))
      warn({warning.code, std::move(warning.text)});
    warnOfNamesakes(parsed);
    warnOfComposition(parsed);
    // What is said here is not a matter of taste of this or that verifier: the standards say so, or xmlsec;
    // of document types libxml2 refuses too much for a list of what it takes.
    static const std::set<std::string_view> kRefused = {
        "default-namespace", "namespace-form", "namespace-name", "namespace-ampersand", "xml-1.1",
        "nested-parts",      "document-type",  "deep-nesting",   "composed-encoding"};
    for (const Remark& warning : verdict_.warnings)
      if (kRefused.count(warning.code) != 0) {
        return lower(Indication::kIndeterminate,
                     {"REFUSED_BY_OTHERS", "other verifiers refuse the document: see the warnings"});
      }
  }

  /** The C library's converters, which libxml2 uses, make one character of a letter and its mark. */
  void warnOfComposition(ParsedDocument& parsed) {
    const std::string encoding = asciiLowerCase(toUtf8(parsed.document().getXmlEncoding()));
    if (encoding == "windows-1255" || encoding == "windows-1258")
      warn({"composed-encoding", "readers differ in how they join letters and marks of " + encoding});
  }

  /** Readers that go by the local name alone could take the other element. */
  void warnOfNamesakes(ParsedDocument& parsed) {
    parsed.names().forEach([this](std::u16string_view whole, const NamedElements& elements) {
      const QualifiedName name(whole);
      if (elements.count == 0 || name.prefix.empty()) return;
      for (const PartVerdict& part : verdict_.parts) {
        if (toUtf8(std::u16string(name.local).c_str()) != part.elementName) continue;
        warn({"namesake",
              "an element of this name with a prefix is in the document too, and is not what was signed",
              part.elementName});
      }
    });
  }

  void takeChain() {
    if (!rules_.authorities) {
      return lower(Indication::kIndeterminate,
                   {"CHAIN_NOT_CHECKED", "who signed was not checked, as --no-chain says"});
    }
    ChainResult result = checkChain(verdict_.signer, *rules_.authorities, rules_.time);
    verdict_.isTrusted = !result.fault;
    verdict_.chain = std::move(result.chain);
    if (result.weakKeyBits != 0)
      warn({"weak-key", "an authority's key of " + std::to_string(result.weakKeyBits) + " bits is weak"});
    if (!result.fault) return;
    const bool isProhibited = result.fault->code == kProhibited;
    lower(isProhibited ? Indication::kFailed : Indication::kIndeterminate, std::move(*result.fault));
  }

  const VerdictRules& rules_;
  DocumentVerdict verdict_;
  bool isDigestWeak_ = false;
};

}  // namespace

DocumentVerdict judge(const std::string& xml, const VerdictRules& rules) {
  DocumentVerdict verdict;
  const std::optional<std::string> refusal = refusalOf([&] {
    ParsedDocument parsed(xml);
    verdict = Judgement(rules).of(parsed);
  });
  if (refusal) verdict = Judgement(rules).ofUnreadable(*refusal);
  return verdict;
}

std::vector<SignatureWarning> warningsOfSigning(const std::string& xml, const std::string& algorithm) {
  startXmlLibraries();
  std::vector<SignatureWarning> warnings;
  refusalOf([&] {
    ParsedDocument parsed(xml);
    warnings = warningsOf(parsed, SigningStage::kBefore, algorithmNamed(algorithm));
  });
  return warnings;
}

}  // namespace vorn::vornctl
