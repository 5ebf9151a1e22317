#include "vornctl/KeyStoreCheck.h"

#include <algorithm>

#include "linux/frameworks/Security/KeyStoreReport.h"
#include "vornctl/Identities.h"

namespace vorn::vornctl {
namespace {

std::string importInto(const std::string& folder) {
  return "import your certificate with its private key in Chromium's settings, or with: pk12util -d sql:" +
         folder + " -i FILE.p12";
}

Finding problem(const char* code, const std::string& cause, const std::string& remedy) {
  return {Severity::kProblem, code, {"key store"}, cause, remedy};
}

/** What keeps each of the identities from signing, whoever asks. */
std::vector<Finding> checkIdentities(const std::vector<IdentityReport>& identities) {
  const auto count = [&identities](auto has) {
    return std::count_if(identities.begin(), identities.end(), has);
  };
  const auto total = static_cast<std::ptrdiff_t>(identities.size());
  const auto locked = count([](const IdentityReport& identity) { return identity.locked; });
  const auto expired = count([](const IdentityReport& identity) { return identity.certificate.expired; });
  const auto unfit = count([](const IdentityReport& identity) { return !identity.certificate.maySign; });
  const auto usable = count([](const IdentityReport& identity) {
    return !identity.locked && !identity.certificate.expired && identity.certificate.maySign;
  });
  if (usable > 0) {
    return {{Severity::kFine,
             "identities",
             {"key store"},
             std::to_string(usable) + " of " + std::to_string(total) +
                 " identities can sign; \"vornctl identities\" shows them"}};
  }
  if (locked > 0) {
    const auto first = std::find_if(identities.begin(), identities.end(),
                                    [](const IdentityReport& identity) { return identity.locked; });
    return {problem(
        "token-locked",
        "the token \"" + first->token + "\" is locked with a password, and the host asks for none",
        "for the database of the browser, set an empty password: certutil -W -d sql:" + first->token)};
  }
  if (expired == total)
    return {problem("certificates-expired", "every certificate has expired",
                    "renew the certificate and import the new one")};
  if (unfit == total) {
    return {problem("certificates-usage", "no certificate is for digital signatures (key usage)",
                    "have one issued for digital signatures")};
  }
  return {problem("no-usable-identity",
                  "no identity can sign: each has expired or is not for digital signatures",
                  "\"vornctl identities\" shows what is wrong with each")};
}

}  // namespace

std::vector<Finding> checkKeyStore() {
  const auto databases = vorn::frameworks::keyDatabases();
  const std::filesystem::path folder = databases.empty() ? "" : databases.front().folder;
  if (folder.empty()) {
    return {problem("no-key-store",
                    "there is no key store: neither ~/.pki/nssdb nor ~/.local/share/pki/nssdb has a cert9.db",
                    "make one with: mkdir -p ~/.pki/nssdb && certutil -N -d sql:$HOME/.pki/nssdb "
                    "--empty-password; then " +
                        importInto("$HOME/.pki/nssdb"))};
  }
  try {
    const std::vector<IdentityReport> identities = examineIdentities({});
    if (!identities.empty()) return checkIdentities(identities);
    return {problem("no-identity",
                    "the key store " + folder.string() + " holds no certificate with a private key",
                    importInto(folder.string()))};
  } catch (const KeyStoreError& e) {
    return {problem("key-store-unreadable", e.what(),
                    "see whether you may read " + folder.string() +
                        " and \"certutil -K -d sql:" + folder.string() + "\" succeeds")};
  }
}

}  // namespace vorn::vornctl
