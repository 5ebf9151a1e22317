#pragma once

#include <ctime>
#include <optional>
#include <string>
#include <vector>

#include "shared/verification/Coverage.h"
#include "shared/xml/SignatureWarnings.h"
#include "vornctl/verdict/ChainCheck.h"

namespace vorn::vornctl {

/** The indications of ETSI EN 319 102-1, the better first. */
enum class Indication { kPassed, kIndeterminate, kFailed };

struct PartVerdict {
  std::string elementName;
  std::string path; /**< where it stands; empty unless it is there once */
  std::string algorithm;
  bool isIntact = false;
  bool isSigned = true;
};

struct DocumentVerdict {
  Indication indication = Indication::kFailed;
  std::vector<Remark> reasons = {}; /**< against a better verdict; none when it is passed */
  std::vector<Remark> warnings = {};
  std::vector<PartVerdict> parts = {};
  /** DER; of the certificate that both intact parts were signed with, or the only intact one. */
  std::string signer = {};
  bool isTrusted = false; /**< whether the signer's chain leads to one who is trusted */
  DerCertificates chain = {};
  verification::Uncovered uncovered = {}; /**< when both parts are intact */
};

struct VerdictRules {
  std::optional<Authorities> authorities = {}; /**< none to leave chains alone: nothing can pass then */
  std::time_t time = 0;                        /**< as of which certificates have to be valid */
};

/** Judges a document. What cannot be read is a failed document. The XML libraries have to be started:
 * startXmlLibraries. */
DocumentVerdict judge(const std::string& xml, const VerdictRules& rules);

/** What the host's log warns of when it signs the document with the algorithm: the same rules are asked here.
 * Nothing for bytes that are no document. Starts the XML libraries. */
std::vector<SignatureWarning> warningsOfSigning(const std::string& xml, const std::string& algorithm);

}  // namespace vorn::vornctl
