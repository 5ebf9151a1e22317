#pragma once

#include <vector>

#include "vornctl/base/Fault.h"
#include "vornctl/identities/CertificateDescription.h"

namespace vorn::vornctl {

/** Why a certificate cannot sign, whoever asks for whomever and however its key is kept; empty when it can.
 */
std::vector<Fault> whyItNeverSigns(const CertificateDescription& certificate);

}  // namespace vorn::vornctl
