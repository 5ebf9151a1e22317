#include "vornctl/identities/Identities.h"

#include <algorithm>

namespace vorn::vornctl {

std::vector<Fault> whyItNeverSigns(const CertificateDescription& certificate) {
  std::vector<Fault> faults;
  const auto require = [&faults](bool passed, Code code, const std::string& cause,
                                 const std::string& remedy) {
    if (!passed) faults.push_back({code, cause, remedy});
  };
  const std::string reissue = "ask \"" + certificate.issuer + "\" for a certificate ";
  require(!certificate.expired, code::kExpired, "it has expired on " + certificate.expiry.substr(0, 10),
          "renew the certificate and import the new one");
  require(certificate.isRsa, code::kKeyNoRsa, "its key is no RSA key", reissue + "with an RSA key");
  require(!certificate.name.empty(), code::kNoName, "its subject has no common name",
          reissue + "that names you");
  require(!certificate.emails.empty(), code::kNoEmail, "it has no e-mail address",
          reissue + "with your e-mail address");
  if (certificate.abns.empty()) {
    require(false, code::kNoAbn, "it has no ABN (Australian Business Number)", reissue + "with the ABN");
  } else {
    const bool anyReadable =
        std::any_of(certificate.abns.begin(), certificate.abns.end(),
                    [](const std::string& abn) { return abn != kUnreadable && !abn.empty(); });
    require(anyReadable, code::kOddAbn, "its ABN (Australian Business Number) cannot be read",
            reissue + "with the ABN as a text");
  }
  require(!certificate.akis.empty(), code::kNoAki, "it has no authority key identifier (AKI)",
          reissue + "that names the key of its authority");
  require(certificate.maySign, code::kKeyUsage, "its key usage does not include digital signatures",
          reissue + "for digital signatures");
  return faults;
}

}  // namespace vorn::vornctl
