#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "shared/base/SignatureAlgorithm.h"

namespace vorn {

class ParsedDocument;

/** Why some or all verifiers will refuse a document, or its signature, for a reason that lies in the
 * document. */
struct SignatureWarning {
  std::string_view code; /**< for programs: never changes its meaning */
  std::string text;      /**< for people: a sentence in UTF-8, which may quote the document */
};

enum class SigningStage {
  kBefore, /**< both signatures are still to come */
  kAfter,  /**< they are the last in their elements */
};

/** All that there is to warn of, in no order that matters. The document is as it was parsed. `algorithm`, if
 * given, is that of the signatures. Costs next to nothing, unless the document has what is warned of or
 * something near it; then a walk through it. */
std::vector<SignatureWarning> warningsOf(ParsedDocument& parsed, SigningStage stage,
                                         std::optional<SignatureAlgorithm> algorithm = std::nullopt);

}  // namespace vorn
