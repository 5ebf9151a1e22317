#include "vornctl/identities/KeyStoreView.h"

#include <algorithm>
#include <utility>

#include "linux/frameworks/Security/KeyProcess.h"

namespace vorn::vornctl {
namespace {

Trust trustOf(keys::Trust trust) {
  switch (trust) {
    case keys::Trust::kForSignatures:
      return Trust::kForSignatures;
    case keys::Trust::kForItself:
      return Trust::kForItself;
    case keys::Trust::kForOtherPurposes:
      return Trust::kForOtherPurposes;
    case keys::Trust::kProhibited:
      return Trust::kForbidden;
    case keys::Trust::kNone:
      break;
  }
  return Trust::kNone;
}

bool isPinBlocked(const keys::Token& token) {
  const std::vector<keys::TokenPlace> places = frameworks::KeyProcess::instance().tokenPlaces();
  return std::any_of(places.begin(), places.end(), [&](const keys::TokenPlace& place) {
    return place.isPinBlocked && place.store == token.store && place.name == token.name;
  });
}

}  // namespace

KeyPlace placeOfKey(SecIdentityRef identity) {
  keys::Token token = frameworks::tokenOf(identity);
  const bool isBlocked = token.locked && isPinBlocked(token);
  return {std::move(token.name), token.locked, std::move(token.store), isBlocked};
}

std::vector<KnownCertificate> knownCertificates() {
  std::vector<KnownCertificate> certificates;
  for (const keys::StoredCertificate& stored : frameworks::KeyProcess::instance().certificatesWithTrust())
    certificates.push_back({std::string(stored.der.begin(), stored.der.end()), trustOf(stored.trust)});
  return certificates;
}

}  // namespace vorn::vornctl
