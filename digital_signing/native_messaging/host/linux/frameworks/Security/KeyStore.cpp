#include "linux/frameworks/Security/KeyStore.h"

#include <nss.h>
#include <pwd.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <fstream>
#include <system_error>

#include "Security/SecBase.h"
#include "linux/frameworks/Security/KeyStoreLock.h"
#include "linux/frameworks/Security/LastFailure.h"

namespace vorn::frameworks {
namespace {

namespace fs = std::filesystem;

std::string environment(const char* name) {
  const char* value = std::getenv(name);
  return value != nullptr ? value : "";
}

fs::path homeFolder() {
  if (std::string home = environment("HOME"); !home.empty()) return home;
  const passwd* user = getpwuid(getuid());
  return user != nullptr && user->pw_dir != nullptr ? user->pw_dir : "";
}

/** A relative path there is to be ignored, says the XDG Base Directory standard. */
fs::path dataFolder(const fs::path& home) {
  const fs::path folder = environment("XDG_DATA_HOME");
  return folder.is_absolute() ? folder : home / ".local" / "share";
}

bool isTokenOfDatabase(PK11SlotInfo* slot) {
  return PK11_IsInternal(slot) != PR_FALSE;
}

/** Cards come before the database, as they do on the system whose order this keeps. Root lists hold no user's
 * keys. */
std::vector<Slot> presentTokens() {
  std::vector<Slot> tokens;
  const SlotList list(PK11_GetAllTokens(CKM_INVALID_MECHANISM, PR_FALSE, PR_FALSE, nullptr));
  if (list == nullptr) return tokens;
  for (auto* element = PK11_GetFirstSafe(list.get()); element != nullptr;
       element = PK11_GetNextSafe(list.get(), element, PR_FALSE))
    if (PK11_IsPresent(element->slot) != PR_FALSE && PK11_HasRootCerts(element->slot) == PR_FALSE)
      tokens.emplace_back(PK11_ReferenceSlot(element->slot));
  std::stable_partition(tokens.begin(), tokens.end(),
                        [](const Slot& slot) { return !isTokenOfDatabase(slot.get()); });
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

using TokenKeys = std::vector<std::shared_ptr<const TokenKey>>;

void appendVisibleKeys(PK11SlotInfo* slot, TokenKeys& keys) {
  const PrivateKeyList list(PK11_ListPrivateKeysInSlot(slot));
  if (list == nullptr) return;
  for (auto* node = PRIVKEY_LIST_HEAD(list); !PRIVKEY_LIST_END(node, list); node = PRIVKEY_LIST_NEXT(node))
    if (PrivateKeyHandle key{SECKEY_CopyPrivateKey(node->key)})
      keys.push_back(std::make_shared<TokenKey>(Slot(PK11_ReferenceSlot(slot)), std::move(key)));
}

/**
 * A token that is not logged in shows no private keys (NSS gives an empty list, not an error). The soft token
 * writes a public key object beside each private key, under the same identifier, and shows that to everyone;
 * cards do so too as a rule.
 */
void appendHiddenKeys(PK11SlotInfo* slot, TokenKeys& keys) {
  const PublicKeyList list(PK11_ListPublicKeysInSlot(slot, nullptr));
  if (list == nullptr) return;
  for (auto* node = PUBKEY_LIST_HEAD(list); !PUBKEY_LIST_END(node, list); node = PUBKEY_LIST_NEXT(node)) {
    auto hidden = std::make_shared<TokenKey>(Slot(PK11_ReferenceSlot(slot)), *node->key);
    const auto isListed = [&hidden](const auto& key) { return key->isSameAs(*hidden); };
    if (std::none_of(keys.begin(), keys.end(), isListed)) keys.push_back(std::move(hidden));
  }
}

/**
 * Of some cards nothing but the certificate is to be seen before the login: a key with its identifier is
 * taken to be there. The soft token shows a public key for each of its own, and other people's certificates.
 */
void appendCertifiedKeys(PK11SlotInfo* slot, TokenKeys& keys) {
  if (isTokenOfDatabase(slot)) return;
  for (const TokenCertificate& stored : certificatesIn(slot)) {
    const auto certificate = x509::readCertificate(stored.der);
    if (!certificate || stored.id.empty()) continue;
    auto hidden = std::make_shared<TokenKey>(Slot(PK11_ReferenceSlot(slot)), stored.id, *certificate);
    const auto isListed = [&hidden](const auto& key) { return key->isSameAs(*hidden); };
    if (std::none_of(keys.begin(), keys.end(), isListed)) keys.push_back(std::move(hidden));
  }
}

}  // namespace

fs::path keyDatabaseFolder() {
  const fs::path home = homeFolder();
  for (const fs::path& folder : {home / ".pki" / "nssdb", dataFolder(home) / "pki" / "nssdb"}) {
    // What may not be looked into is there: to take it for absent would be to say that nobody has a
    // certificate.
    std::error_code failure;
    if (fs::exists(folder / "cert9.db", failure) || failure) return folder;
  }
  return {};
}

namespace {

/** The first of the database's files that may not be read, and why; empty when all may. */
std::string unreadableFile(const fs::path& folder) {
  for (const char* name : {"cert9.db", "key4.db"}) {
    const fs::path file = folder / name;
    if (!std::ifstream(file)) return file.string() + ": " + std::generic_category().message(errno);
  }
  return {};
}

OSStatus openDatabase() {
  static NSSInitContext* context = nullptr;
  if (context != nullptr) return errSecSuccess;
  const fs::path folder = keyDatabaseFolder();
  if (folder.empty()) return errSecItemNotFound;
  NSSInitParameters parameters{};
  parameters.length = sizeof parameters;
  context = NSS_InitContext(("sql:" + folder.string()).c_str(), "", "", "", &parameters,
                            NSS_INIT_READONLY | NSS_INIT_NOROOTINIT | NSS_INIT_OPTIMIZESPACE);
  if (context == nullptr) {
    const NssError error = lastNssError();
    const std::string unreadable = unreadableFile(folder);
    return failWith(error.status, "The key database " + (unreadable.empty() ? folder.string() : unreadable) +
                                      " cannot be opened (" + error.name + ")");
  }
  watchKeyStore(folder);
  return errSecSuccess;
}

}  // namespace

OSStatus openKeyStore() {
  if (const OSStatus status = openDatabase(); status != errSecSuccess) return status;
  return waitForKeyStore()
             ? errSecSuccess
             : failWith(errSecNotAvailable, "Another process holds the key database for itself");
}

std::vector<TokenCertificate> listCertificates() {
  std::vector<TokenCertificate> certificates;
  for (const Slot& slot : presentTokens())
    for (TokenCertificate& certificate : certificatesIn(slot.get()))
      certificates.push_back(std::move(certificate));
  return certificates;
}

std::vector<std::shared_ptr<const TokenKey>> listPrivateKeys() {
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

}  // namespace vorn::frameworks
