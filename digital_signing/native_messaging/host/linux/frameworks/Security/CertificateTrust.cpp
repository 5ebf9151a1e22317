#include "linux/frameworks/Security/CertificateTrust.h"

#include "linux/frameworks/Security/KeyStore.h"

// Needs the headers that come with the one above.
#include <certdb.h>

namespace vorn::frameworks {
namespace {

using CertificateList = std::unique_ptr<CERTCertList, NssRelease<CERT_DestroyCertList>>;

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

Trust trustOf(CERTCertificate& certificate) {
  CERTCertTrust trust{};
  if (CERT_GetCertTrust(&certificate, &trust) != SECSuccess) return Trust::kNone;
  const unsigned sites = trust.sslFlags, mail = trust.emailFlags, objects = trust.objectSigningFlags;
  if (isProhibition(sites) || isProhibition(mail) || isProhibition(objects)) return Trust::kProhibited;
  if (holds(sites, CERTDB_TRUSTED_CLIENT_CA) || holds(mail, CERTDB_TRUSTED_CA) ||
      holds(objects, CERTDB_TRUSTED_CA) || isTrustedPeer(mail) || isTrustedPeer(objects))
    return Trust::kForSignatures;
  return holds(sites, CERTDB_TRUSTED_CA) ? Trust::kForOtherPurposes : Trust::kNone;
}

}  // namespace

std::vector<StoredCertificate> listCertificatesWithTrust() {
  std::vector<StoredCertificate> certificates;
  if (openKeyStore() != errSecSuccess) return certificates;
  const CertificateList list(PK11_ListCerts(PK11CertListUnique, nullptr));
  if (!list) return certificates;
  for (auto* node = CERT_LIST_HEAD(list); !CERT_LIST_END(node, list); node = CERT_LIST_NEXT(node)) {
    const der::Bytes der = bytesOf(node->cert->derCert);
    certificates.push_back({{der.begin(), der.end()}, trustOf(*node->cert)});
  }
  return certificates;
}

}  // namespace vorn::frameworks
