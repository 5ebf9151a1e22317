#include "vornctl/KeyStoreView.h"

#include <algorithm>
#include <utility>

#include "linux/frameworks/Security/CertificateTrust.h"
#include "linux/frameworks/Security/KeyStoreReport.h"

namespace vorn::vornctl {
namespace {

Trust trustOf(frameworks::Trust trust) {
  switch (trust) {
    case frameworks::Trust::kForSignatures:
      return Trust::kForSignatures;
    case frameworks::Trust::kForItself:
      return Trust::kForItself;
    case frameworks::Trust::kForOtherPurposes:
      return Trust::kForOtherPurposes;
    case frameworks::Trust::kProhibited:
      return Trust::kForbidden;
    case frameworks::Trust::kNone:
      break;
  }
  return Trust::kNone;
}

bool isPinBlocked(const frameworks::Token& token) {
  const std::vector<frameworks::TokenPlace> places = frameworks::tokenPlaces();
  return std::any_of(places.begin(), places.end(), [&](const frameworks::TokenPlace& place) {
    return place.isPinBlocked && place.store == token.store && place.name == token.name;
  });
}

}  // namespace

KeyPlace placeOfKey(SecIdentityRef identity) {
  frameworks::Token token = frameworks::tokenOf(identity);
  const bool isBlocked = token.locked && isPinBlocked(token);
  return {std::move(token.name), token.locked, std::move(token.store), isBlocked};
}

std::vector<KnownCertificate> knownCertificates() {
  std::vector<KnownCertificate> certificates;
  for (const frameworks::StoredCertificate& stored : frameworks::listCertificatesWithTrust())
    certificates.push_back({std::string(stored.der.begin(), stored.der.end()), trustOf(stored.trust)});
  return certificates;
}

}  // namespace vorn::vornctl
