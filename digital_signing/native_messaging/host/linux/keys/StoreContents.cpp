#include "linux/keys/StoreContents.h"

// Needs the headers that come with the one above.
#include <certdb.h>

#include <algorithm>

namespace vorn::keys {
namespace {

/** Those that can be used as they are come before those that ask for a password first; among each, cards
 * before databases, as on the system whose order this keeps. Root lists hold no user's keys. */
std::vector<Slot> presentTokens() {
  const OpenStores& stores = OpenStores::instance();
  std::vector<Slot> tokens;
  const SlotList list(PK11_GetAllTokens(CKM_INVALID_MECHANISM, PR_FALSE, PR_FALSE, nullptr));
  if (list == nullptr) return tokens;
  for (auto* element = PK11_GetFirstSafe(list.get()); element != nullptr;
       element = PK11_GetNextSafe(list.get(), element, PR_FALSE))
    if (stores.isUsable(element->slot) && PK11_IsPresent(element->slot) != PR_FALSE &&
        PK11_HasRootCerts(element->slot) == PR_FALSE)
      tokens.emplace_back(PK11_ReferenceSlot(element->slot));
  const auto rank = [&stores](const Slot& slot) {
    return std::pair(describeToken(slot.get()).locked, stores.rankOf(slot.get()));
  };
  std::stable_sort(tokens.begin(), tokens.end(),
                   [&](const Slot& left, const Slot& right) { return rank(left) < rank(right); });
  return tokens;
}

std::vector<TokenCertificate> certificatesIn(PK11SlotInfo* slot) {
  std::vector<TokenCertificate> certificates;
  const GenericObjects objects(PK11_FindGenericObjects(slot, CKO_CERTIFICATE));
  for (auto* object = objects.get(); object != nullptr; object = PK11_GetNextGenericObject(object)) {
    certificates.push_back({slot, readAttribute(PK11_TypeGeneric, object, CKA_VALUE),
                            readAttribute(PK11_TypeGeneric, object, CKA_ID)});
  }
  return certificates;
}

using TokenKeys = std::vector<std::shared_ptr<TokenKey>>;

void appendVisibleKeys(PK11SlotInfo* slot, TokenKeys& keys) {
  const PrivateKeyList list(PK11_ListPrivateKeysInSlot(slot));
  if (list == nullptr) return;
  for (auto* node = PRIVKEY_LIST_HEAD(list); !PRIVKEY_LIST_END(node, list); node = PRIVKEY_LIST_NEXT(node))
    if (PrivateKeyHandle key{SECKEY_CopyPrivateKey(node->key)})
      keys.push_back(std::make_shared<TokenKey>(Slot(PK11_ReferenceSlot(slot)), std::move(key)));
}

/** Unless it is there already. */
void appendHiddenKey(std::shared_ptr<TokenKey> hidden, TokenKeys& keys) {
  const auto isListed = [&hidden](const auto& key) { return key->isSameAs(*hidden); };
  if (std::none_of(keys.begin(), keys.end(), isListed)) keys.push_back(std::move(hidden));
}

/** A token that is not logged in shows no private keys (NSS gives an empty list, not an error). The soft
 * token writes a public key object beside each private key, under the same identifier, and shows that to
 * everyone; cards do so too as a rule. */
void appendHiddenKeys(PK11SlotInfo* slot, TokenKeys& keys) {
  const PublicKeyList list(PK11_ListPublicKeysInSlot(slot, nullptr));
  if (list == nullptr) return;
  for (auto* node = PUBKEY_LIST_HEAD(list); !PUBKEY_LIST_END(node, list); node = PUBKEY_LIST_NEXT(node))
    appendHiddenKey(std::make_shared<TokenKey>(Slot(PK11_ReferenceSlot(slot)), *node->key), keys);
}

/** Of some cards nothing but the certificate is to be seen before the login: a key with its identifier is
 * taken to be there. The soft token shows a public key for each of its own, and other people's certificates.
 */
void appendCertifiedKeys(PK11SlotInfo* slot, TokenKeys& keys) {
  if (PK11_IsInternal(slot) != PR_FALSE) return;
  for (const TokenCertificate& stored : certificatesIn(slot)) {
    const auto certificate = x509::readCertificate(stored.der);
    if (certificate && !stored.id.empty())
      appendHiddenKey(std::make_shared<TokenKey>(Slot(PK11_ReferenceSlot(slot)), stored.id, *certificate),
                      keys);
  }
}

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

}  // namespace

std::vector<TokenPlace> tokenPlaces() {
  std::vector<TokenPlace> places;
  for (const Slot& slot : OpenStores::instance().slots()) {
    const Token token = describeToken(slot.get());
    TokenPlace place{token.name, token.store, PK11_IsInternal(slot.get()) == PR_FALSE,
                     PK11_IsPresent(slot.get()) != PR_FALSE, token.locked};
    CK_TOKEN_INFO information{};
    // Some modules have a place for a token that is yet to be made.
    if (!place.isIn && PK11_IsRemovable(slot.get()) == PR_FALSE) continue;
    if (!place.isIn) place.name = PK11_GetSlotName(slot.get());
    if (place.isIn && place.isCard && PK11_GetTokenInfo(slot.get(), &information) == SECSuccess) {
      if ((information.flags & CKF_TOKEN_INITIALIZED) == 0) continue;
      place.isPinBlocked = (information.flags & CKF_USER_PIN_LOCKED) != 0;
      place.isLastTry = (information.flags & CKF_USER_PIN_FINAL_TRY) != 0;
    }
    place.showsCertificate = place.isIn && !certificatesIn(slot.get()).empty();
    places.push_back(std::move(place));
  }
  return places;
}

std::vector<TokenCertificate> listCertificates() {
  std::vector<TokenCertificate> certificates;
  for (const Slot& slot : presentTokens())
    for (TokenCertificate& certificate : certificatesIn(slot.get()))
      certificates.push_back(std::move(certificate));
  return certificates;
}

std::optional<Trust> trustOf(const TokenCertificate& stored) {
  SECItem der = itemOf(stored.der);
  const std::unique_ptr<CERTCertificate, NssRelease<CERT_DestroyCertificate>> certificate(
      CERT_NewTempCertificate(CERT_GetDefaultCertDB(), &der, nullptr, PR_FALSE, PR_TRUE));
  if (!certificate) return std::nullopt;
  CERTCertTrust trust{};
  if (CERT_GetCertTrust(certificate.get(), &trust) != SECSuccess) return Trust::kNone;
  const unsigned sites = trust.sslFlags, mail = trust.emailFlags, objects = trust.objectSigningFlags;
  if (isProhibition(sites) || isProhibition(mail) || isProhibition(objects)) return Trust::kProhibited;
  if (holds(sites, CERTDB_TRUSTED_CLIENT_CA) || holds(mail, CERTDB_TRUSTED_CA) ||
      holds(objects, CERTDB_TRUSTED_CA))
    return Trust::kForSignatures;
  if (isTrustedPeer(mail) || isTrustedPeer(objects)) return Trust::kForItself;
  return holds(sites, CERTDB_TRUSTED_CA) ? Trust::kForOtherPurposes : Trust::kNone;
}

std::vector<std::shared_ptr<TokenKey>> listPrivateKeys() {
  TokenKeys keys;
  for (const Slot& slot : presentTokens()) {
    appendVisibleKeys(slot.get(), keys);
    if (describeToken(slot.get()).locked) {
      appendHiddenKeys(slot.get(), keys);
      appendCertifiedKeys(slot.get(), keys);
    }
  }
  return keys;
}

}  // namespace vorn::keys
