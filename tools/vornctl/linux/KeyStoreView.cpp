#include "vornctl/identities/KeyStoreView.h"

#include <algorithm>
#include <utility>

#include "linux/frameworks/Security/KeyStoreReport.h"

namespace vorn::vornctl {
namespace {

bool isPinBlocked(const keys::Token& token) {
  const std::vector<keys::TokenPlace> places = frameworks::tokenPlaces();
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

std::vector<StoredCertificate> knownCertificates() {
  return frameworks::listCertificatesWithTrust();
}

}  // namespace vorn::vornctl
