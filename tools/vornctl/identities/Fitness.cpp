#include "vornctl/identities/Fitness.h"

#include <algorithm>

namespace vorn::vornctl {

std::vector<Fault> whyItNeverSigns(const CertificateDescription& certificate) {
  std::vector<Fault> faults;
  const auto require = [&faults](bool passed, const char* code, const std::string& cause,
                                 const std::string& remedy) {
    if (!passed) faults.push_back({code, cause, remedy});
  };
  const std::string reissue = "ask \"" + certificate.issuer + "\" for a certificate ";
  require(!certificate.expired, "expired", "it has expired on " + certificate.expiry.substr(0, 10),
          "renew the certificate and import the new one");
  require(certificate.isRsa, "key-no-rsa", "its key is no RSA key", reissue + "with an RSA key");
  require(!certificate.name.empty(), "no-name", "its subject has no common name", reissue + "that names you");
  require(!certificate.emails.empty(), "no-email", "it has no e-mail address",
          reissue + "with your e-mail address");
  if (certificate.abns.empty()) {
    require(false, "no-abn", "it has no ABN (Australian Business Number)", reissue + "with the ABN");
  } else {
    const bool anyReadable =
        std::any_of(certificate.abns.begin(), certificate.abns.end(),
                    [](const std::string& abn) { return abn != kUnreadable && !abn.empty(); });
    require(anyReadable, "odd-abn", "its ABN (Australian Business Number) cannot be read",
            reissue + "with the ABN as a text");
  }
  require(!certificate.akis.empty(), "no-aki", "it has no authority key identifier (AKI)",
          reissue + "that names the key of its authority");
  require(certificate.maySign, "key-usage", "its key usage does not include digital signatures",
          reissue + "for digital signatures");
  return faults;
}

}  // namespace vorn::vornctl
