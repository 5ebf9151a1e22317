#include "vornctl/doctor/Doctor.h"

#include <algorithm>
#include <utility>

#include "vornctl/identities/Identities.h"

namespace vorn::vornctl {
namespace {

std::vector<Finding> found(Severity severity, Fault fault) {
  return {{std::move(fault), severity, {"key store"}}};
}

}  // namespace

std::vector<Finding> checkKeyStore() {
  std::vector<IdentityReport> identities;
  try {
    identities = examineIdentities({});
  } catch (const KeyStoreError& e) {
    return found(Severity::kProblem,
                 {code::kKeyStoreUnreadable, e.what(), "see whether Keychain Access shows your keychains"});
  }
  if (identities.empty())
    return found(Severity::kProblem,
                 {code::kNoIdentity, "the keychains hold no certificate with a private key",
                  "open the .p12 file of your certificate: Keychain Access imports it"});
  const auto usable = std::count_if(identities.begin(), identities.end(), [](const IdentityReport& report) {
    return !report.certificate.expired && report.certificate.maySign;
  });
  if (usable == 0)
    return found(
        Severity::kProblem,
        {code::kNoUsableIdentity, "no identity can sign: each has expired or is not for digital signatures",
         "\"vornctl identities\" shows what is wrong with each"});
  return found(Severity::kFine, {code::kIdentities,
                                 std::to_string(usable) + " of " + std::to_string(identities.size()) +
                                     " identities can sign; \"vornctl identities\" shows them",
                                 ""});
}

}  // namespace vorn::vornctl
