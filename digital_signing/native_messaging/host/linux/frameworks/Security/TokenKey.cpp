#include "linux/frameworks/Security/TokenKey.h"

#include <prerror.h>
#include <secerr.h>
#include <secitem.h>

#include <algorithm>

#include "linux/frameworks/Security/OpenStores.h"

namespace vorn::frameworks {
namespace {

bool hasAttribute(PK11SlotInfo* slot, CK_OBJECT_HANDLE object, CK_ATTRIBUTE_TYPE attribute) {
  return PK11_HasAttributeSet(slot, object, attribute, PR_FALSE) != PR_FALSE;
}

/** NSS asks the token for them at each signature otherwise. */
void cacheFlags(const PrivateKeyHandle& key) {
  if (key != nullptr) SECKEY_CacheStaticFlags(key.get());
}

}  // namespace

Token describeToken(PK11SlotInfo* slot) {
  return {PK11_GetTokenName(slot),
          PK11_NeedLogin(slot) != PR_FALSE && PK11_IsLoggedIn(slot, nullptr) == PR_FALSE,
          OpenStores::instance().placeOf(slot)};
}

TokenKey::TokenKey(Slot slot, PrivateKeyHandle key)
    : slot_(std::move(slot)),
      key_(std::move(key)),
      isRsa_(SECKEY_GetPrivateKeyType(key_.get()) == rsaKey),
      canSign_(hasAttribute(slot_.get(), key_->pkcs11ID, CKA_SIGN)),
      id_(readAttribute(PK11_TypePrivKey, key_.get(), CKA_ID)) {
  if (const PublicKeyHandle publicHalf{SECKEY_ConvertToPublicKey(key_.get())})
    describe(*publicHalf);
  else if (isRsa_)
    modulusLength_ = static_cast<std::size_t>(std::max(PK11_SignatureLen(key_.get()), 0));
  cacheFlags(key_);
}

/** Whether the private key signs cannot be seen from here: a public key that verifies has to do. */
TokenKey::TokenKey(Slot slot, const SECKEYPublicKey& publicHalf)
    : slot_(std::move(slot)),
      isRsa_(publicHalf.keyType == rsaKey),
      canSign_(hasAttribute(slot_.get(), publicHalf.pkcs11ID, CKA_VERIFY)),
      id_(readAttribute(PK11_TypePubKey, const_cast<SECKEYPublicKey*>(&publicHalf), CKA_ID)) {
  describe(publicHalf);
}

void TokenKey::describe(const SECKEYPublicKey& publicHalf) {
  if (publicHalf.keyType == rsaKey) modulusLength_ = SECKEY_PublicKeyStrength(&publicHalf);
  if (const PublicKeyInfo info{SECKEY_CreateSubjectPublicKeyInfo(&publicHalf)}) {
    constexpr unsigned kBitsPerOctet = 8;
    const SECItem& bits = info->subjectPublicKey;
    const der::Bytes octets(bits.data, (bits.len + kBitsPerOctet - 1) / kBitsPerOctet);
    publicKey_.assign(octets.begin(), octets.end());
  }
}

bool TokenKey::isSameAs(const TokenKey& other) const {
  return slot_.get() == other.slot_.get() &&
         (publicKey_.empty() ? !id_.empty() && id_ == other.id_ : publicKey_ == other.publicKey_);
}

bool TokenKey::belongsTo(const TokenCertificate& certificate, der::Bytes publicKey) const {
  if (!publicKey_.empty()) return der::equal(publicKey_, publicKey);
  // A card that tells nothing of the key's public half: only the identifier ties the two together.
  return !id_.empty() && slot_.get() == certificate.slot && id_ == certificate.id;
}

/** Null with NSS's error set. No password function is registered, so that the authentication fails and never
 * asks. */
SECKEYPrivateKey* TokenKey::resolve() const {
  if (PK11_IsPresent(slot_.get()) == PR_FALSE) {
    PR_SetError(SEC_ERROR_NO_TOKEN, 0);
    return nullptr;
  }
  // A card that was out has lost login and sessions, and may number its objects anew.
  if (const int series = PK11_GetSlotSeries(slot_.get()); series != series_) {
    key_.reset();
    series_ = series;
  }
  if (key_ == nullptr && PK11_Authenticate(slot_.get(), PR_TRUE, nullptr) == SECSuccess) {
    SECItem id = itemOf(id_);
    key_.reset(PK11_FindKeyByKeyID(slot_.get(), &id, nullptr));
    cacheFlags(key_);
  }
  return key_.get();
}

/**
 * The soft token reads a key of its database, and decrypts it, for each signature; a copy among the objects
 * of its memory it has at hand. Cards are left alone. Once the database has changed, what it says now counts.
 */
SECKEYPrivateKey* TokenKey::quickKey() const {
  SECKEYPrivateKey* const key = resolve();
  if (key == nullptr || PK11_IsInternal(slot_.get()) == PR_FALSE) return key;
  if (std::vector<std::int64_t> state = OpenStores::instance().stateOf(slot_.get());
      copy_ == nullptr || copiedFrom_ != state) {
    copy_.reset(PK11_CopyTokenPrivKeyToSessionPrivKey(nullptr, key));
    cacheFlags(copy_);
    copiedFrom_ = std::move(state);
  }
  return copy_ != nullptr ? copy_.get() : key;
}

std::variant<std::vector<std::uint8_t>, NssError> TokenKey::sign(der::Bytes input) const {
  // Some failures in NSS leave no error of their own, and an older one must not speak for them.
  PR_SetError(SEC_ERROR_LIBRARY_FAILURE, 0);
  if (!OpenStores::instance().waitUntilFree(slot_.get())) {
    PR_SetError(SEC_ERROR_BAD_DATABASE, 0);
    return lastNssError();
  }
  SECKEYPrivateKey* const key = quickKey();
  if (key == nullptr) return lastNssError();
  // The length is known: PK11_SignatureLen asks the token for the modulus.
  std::vector<std::uint8_t> signature(modulusLength_);
  SECItem output = itemOf(signature);
  const SECItem data = itemOf(input);
  if (PK11_Sign(key, &output, &data) != SECSuccess) return lastNssError();
  signature.resize(output.len);
  return signature;
}

}  // namespace vorn::frameworks
