#include "vornctl/identities/KeyStoreView.h"

#include <algorithm>
#include <utility>

#include "linux/frameworks/Security/KeyProcess.h"

namespace vorn::vornctl {
namespace {

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

Authorities authoritiesOfKeyStore() {
  Authorities authorities;
  for (const keys::StoredCertificate& stored : frameworks::KeyProcess::instance().certificatesWithTrust()) {
    const std::string der(stored.der.begin(), stored.der.end());
    switch (stored.trust) {
      case keys::Trust::kForSignatures:
        authorities.trusted.push_back(der);
        continue;
      case keys::Trust::kProhibited:
        authorities.prohibited.push_back(der);
        continue;
      case keys::Trust::kForItself:
        authorities.peers.push_back(der);
        break;
      case keys::Trust::kForOtherPurposes:
        authorities.forOtherPurposes.push_back(der);
        break;
      case keys::Trust::kNone:
        break;
    }
    authorities.known.push_back(der);
  }
  return authorities;
}

}  // namespace vorn::vornctl
