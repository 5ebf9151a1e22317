#include "linux/keys/TokenKey.h"

#include <prerror.h>
#include <secerr.h>
#include <secitem.h>
#include <secmod.h>

#include <algorithm>
#include <cstdint>

#include "linux/keys/Consent.h"
#include "linux/keys/OpenStores.h"

namespace vorn::keys {
namespace {

bool hasAttribute(PK11SlotInfo* slot, CK_OBJECT_HANDLE object, CK_ATTRIBUTE_TYPE attribute) {
  return PK11_HasAttributeSet(slot, object, attribute, PR_FALSE) != PR_FALSE;
}

/** NSS asks the token for them at each signature otherwise. */
void cacheFlags(const PrivateKeyHandle& key) {
  if (key != nullptr) SECKEY_CacheStaticFlags(key.get());
}

/** Octets in the modulus of an RSAPublicKey; 0 when it is none. */
std::size_t modulusLengthOf(der::Bytes publicKey) {
  const auto sequence = der::Reader(publicKey).read(der::kSequence);
  const auto modulus = sequence ? der::Reader(sequence->content).read(der::kInteger) : std::nullopt;
  if (!modulus || modulus->content.empty()) return 0;
  return modulus->content.size() - (modulus->content[0] == 0 ? 1 : 0);
}

}  // namespace

Token describeToken(PK11SlotInfo* slot) {
  return {PK11_GetTokenName(slot),
          PK11_NeedLogin(slot) != PR_FALSE && PK11_IsLoggedIn(slot, nullptr) == PR_FALSE,
          OpenStores::instance().placeOf(slot)};
}

TokenKey::TokenKey(Slot slot, PrivateKeyHandle key)
    : slot_(std::move(slot)),
      isHidden_(false),
      key_(std::move(key)),
      isRsa_(SECKEY_GetPrivateKeyType(key_.get()) == rsaKey),
      canSign_(hasAttribute(slot_.get(), key_->pkcs11ID, CKA_SIGN)),
      id_(readAttribute(PK11_TypePrivKey, key_.get(), CKA_ID)) {
  if (const PublicKeyHandle publicHalf{SECKEY_ConvertToPublicKey(key_.get())})
    describe(*publicHalf);
  else if (isRsa_)
    modulusLength_ = static_cast<std::size_t>(std::max(PK11_SignatureLen(key_.get()), 0));
  readFlags();
}

/** Whether the private key signs cannot be seen from here: a public key that verifies has to do. */
TokenKey::TokenKey(Slot slot, const SECKEYPublicKey& publicHalf)
    : slot_(std::move(slot)),
      isRsa_(publicHalf.keyType == rsaKey),
      canSign_(hasAttribute(slot_.get(), publicHalf.pkcs11ID, CKA_VERIFY)),
      id_(readAttribute(PK11_TypePubKey, const_cast<SECKEYPublicKey*>(&publicHalf), CKA_ID)) {
  describe(publicHalf);
}

/** Whether it signs is for its certificate to say. */
TokenKey::TokenKey(Slot slot, std::vector<std::uint8_t> id, const x509::Certificate& certificate)
    : slot_(std::move(slot)),
      isRsa_(certificate.isRsa),
      canSign_(true),
      id_(std::move(id)),
      publicKey_(certificate.publicKey.begin(), certificate.publicKey.end()),
      modulusLength_(isRsa_ ? modulusLengthOf(certificate.publicKey) : 0) {}

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

void TokenKey::readFlags() {
  cacheFlags(key_);
  wantsPinEachTime_ = hasAttribute(slot_.get(), key_->pkcs11ID, CKA_ALWAYS_AUTHENTICATE);
}

/** Leaves the key in key_. Nothing when it is there, else why not. */
std::optional<NssError> TokenKey::open(const x509::Certificate& certificate, Consent* consent) {
  // A card that was out has lost login and sessions, and may number its objects anew.
  if (const int series = PK11_GetSlotSeries(slot_.get()); series != series_) {
    forget();
    series_ = series;
  }
  const bool isLocked = describeToken(slot_.get()).locked;
  if (isLocked && isHidden_) forget();
  if (isLocked && (isHidden_ || wantsPinEachTime_))
    if (auto refusal = logIn(certificate, consent)) return refusal;
  if (key_ == nullptr) find(consent);
  if (key_ != nullptr) return std::nullopt;
  NssError error = lastNssError();
  error.sentence = "The token \"" + describeToken(slot_.get()).name +
                   "\" has no private key for the certificate (" + error.name + ")";
  return error;
}

/** Where requests are to be confirmed. Whoever is asked for a PIN confirms by that. */
std::optional<NssError> TokenKey::confirm(const x509::Certificate& certificate, Consent* consent) {
  if (wantsPinEachTime_ || presentConfirmationFiles().empty()) return std::nullopt;
  if (consent == nullptr || describeToken(slot_.get()).locked) return logIn(certificate, consent);
  return consent->loginTo(slot_.get()).confirm(certificate);
}

std::optional<NssError> TokenKey::logIn(const x509::Certificate& certificate, Consent* consent) {
  if (consent != nullptr) return consent->loginTo(slot_.get()).logIn(certificate);
  PR_SetError(SEC_ERROR_BAD_PASSWORD, 0);
  return lastNssError();
}

/** In a token that is open. What is found lasts no longer than the consent: the token closes then. */
void TokenKey::find(Consent* consent) {
  SECItem id = itemOf(id_);
  key_.reset(PK11_FindKeyByKeyID(slot_.get(), &id, nullptr));
  if (key_ == nullptr) return;
  readFlags();
  if (consent == nullptr) return;
  if (!wantsPinEachTime_) consent->loginTo(slot_.get()).forgetPin();
  consent->closeAtEnd(weak_from_this());
}

void TokenKey::forget() {
  copy_.reset();
  key_.reset();
}

/** The soft token reads a key of its database, and decrypts it, for each signature; a copy among the objects
 * of its memory it has at hand. Cards are left alone. Once the database has changed, what it says now counts.
 */
SECKEYPrivateKey* TokenKey::quickKey() {
  if (wantsPinEachTime_ || PK11_IsInternal(slot_.get()) == PR_FALSE) return key_.get();
  if (std::vector<std::int64_t> state = OpenStores::instance().stateOf(slot_.get());
      copy_ == nullptr || copiedFrom_ != state) {
    copy_.reset(PK11_CopyTokenPrivKeyToSessionPrivKey(nullptr, key_.get()));
    cacheFlags(copy_);
    copiedFrom_ = std::move(state);
  }
  return copy_ != nullptr ? copy_.get() : key_.get();
}

/** A card that leaves within is looked for once more: its module may have lost the readers, all of them, by a
 * service that was started anew, and finds them as it lists them. */
std::variant<std::vector<std::uint8_t>, NssError> TokenKey::sign(der::Bytes input,
                                                                 const x509::Certificate& certificate,
                                                                 Consent* consent) {
  for (bool again = false;; again = true) {
    if (again || PK11_IsPresent(slot_.get()) == PR_FALSE) SECMOD_UpdateSlotList(PK11_GetModule(slot_.get()));
    if (!isPresentSoon(slot_.get(), true)) {
      PR_SetError(SEC_ERROR_NO_TOKEN, 0);
      return lastErrorOf(slot_.get());
    }
    auto result = signOnce(input, certificate, consent);
    const auto* const error = std::get_if<NssError>(&result);
    if (again || error == nullptr || error->name != "SEC_ERROR_NO_TOKEN") return result;
  }
}

std::variant<std::vector<std::uint8_t>, NssError> TokenKey::signOnce(der::Bytes input,
                                                                     const x509::Certificate& certificate,
                                                                     Consent* consent) {
  // Some failures in NSS leave no error of their own, and an older one must not speak for them.
  PR_SetError(SEC_ERROR_LIBRARY_FAILURE, 0);
  if (!OpenStores::instance().waitUntilFree(slot_.get())) {
    PR_SetError(SEC_ERROR_BAD_DATABASE, 0);
    return lastNssError();
  }
  if (auto refusal = open(certificate, consent)) return *refusal;
  if (auto refusal = confirm(certificate, consent)) return *refusal;
  SECKEYPrivateKey* const key = quickKey();
  // The length is known: PK11_SignatureLen asks the token for the modulus.
  std::vector<std::uint8_t> signature(modulusLength_);
  SECItem output = itemOf(signature);
  const SECItem data = itemOf(input);
  const auto use = [&](void* context) {
    output.len = static_cast<unsigned>(signature.size());
    key->wincx = context;
    const SECStatus status = PK11_Sign(key, &output, &data);
    key->wincx = nullptr;
    return status;
  };
  if (wantsPinEachTime_ && consent != nullptr) {
    if (auto refusal = consent->loginTo(slot_.get()).withPin(certificate, use)) return *refusal;
  } else if (use(nullptr) != SECSuccess) {
    // One that shows its keys to everyone, and uses them for its owner alone.
    if (PR_GetError() != SEC_ERROR_TOKEN_NOT_LOGGED_IN || !describeToken(slot_.get()).locked)
      return lastErrorOf(slot_.get());
    if (auto refusal = logIn(certificate, consent)) return *refusal;
    if (use(nullptr) != SECSuccess) return lastErrorOf(slot_.get());
  }
  signature.resize(output.len);
  return signature;
}

}  // namespace vorn::keys
