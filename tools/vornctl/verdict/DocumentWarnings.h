#pragma once

#include <string>
#include <vector>

#include "shared/xml/SignatureWarnings.h"

namespace vorn::vornctl {

/**
 * What the host's log warns of when it signs the document with the algorithm: the same rules are asked here.
 * Nothing for bytes that are no document. Starts the XML libraries.
 */
std::vector<SignatureWarning> warningsOfSigning(const std::string& xml, const std::string& algorithm);

}  // namespace vorn::vornctl
