#include "linux/keys/KeyStore.h"

// Needs the headers that come with the one above.
#include <certdb.h>

namespace vorn::keys {
namespace {

using Certificate = std::unique_ptr<CERTCertificate, NssRelease<CERT_DestroyCertificate>>;

bool holds(unsigned flags, unsigned flag) {
  return (flags & flag) != 0;
}

/** A record of its own about the certificate that does not say that it is trusted. */
bool isProhibition(unsigned flags) {
  return holds(flags, CERTDB_TERMINAL_RECORD) && !holds(flags, CERTDB_TRUSTED);
}

bool isTrustedPeer(unsigned flags) {
  return holds(flags, CERTDB_TERMINAL_RECORD) && holds(flags, CERTDB_TRUSTED);
}

Trust trustOf(const CERTCertificate& certificate) {
  CERTCertTrust trust{};
  if (CERT_GetCertTrust(&certificate, &trust) != SECSuccess) return Trust::kNone;
  const unsigned sites = trust.sslFlags, mail = trust.emailFlags, objects = trust.objectSigningFlags;
  if (isProhibition(sites) || isProhibition(mail) || isProhibition(objects)) return Trust::kProhibited;
  if (holds(sites, CERTDB_TRUSTED_CLIENT_CA) || holds(mail, CERTDB_TRUSTED_CA) ||
      holds(objects, CERTDB_TRUSTED_CA))
    return Trust::kForSignatures;
  if (isTrustedPeer(mail) || isTrustedPeer(objects)) return Trust::kForItself;
  return holds(sites, CERTDB_TRUSTED_CA) ? Trust::kForOtherPurposes : Trust::kNone;
}

}  // namespace

std::vector<StoredCertificate> listCertificatesWithTrust() {
  std::vector<StoredCertificate> certificates;
  for (TokenCertificate& stored : listCertificates()) {
    SECItem der = itemOf(stored.der);
    const Certificate certificate(
        CERT_NewTempCertificate(CERT_GetDefaultCertDB(), &der, nullptr, PR_FALSE, PR_TRUE));
    if (certificate) certificates.push_back({std::move(stored.der), trustOf(*certificate)});
  }
  return certificates;
}

}  // namespace vorn::keys
