#include "mac/app/KeychainCryptoKeyRSA.h"

#include <algorithm>
#include <array>
#include <limits>
#include <xsec/enc/XSECCryptoException.hpp>

#include "mac/app/CFValues.h"
#include "mac/app/DeprecatedCalls.h"
#include "shared/base/Base64.h"
#include "shared/base/Exceptions.h"
#include "shared/base/RsaCheck.h"

namespace vorn {
namespace {

constexpr std::size_t kErrorBufferSize = 1024;
constexpr UInt8 kSequenceTag = 0x30;
constexpr UInt8 kIntegerTag = 0x02;
constexpr UInt8 kLongLength = 0x80;

constexpr auto kProviderName = [] {
  constexpr char kText[] = "Keychain Provider";
  std::array<XMLCh, sizeof kText> name{};
  std::copy(std::begin(kText), std::end(kText), name.begin());
  return name;
}();

[[noreturn]] void fail(const std::string& message, const std::string& reason = reason::kKeyFailed) {
  throw KeyRefusedException("KeychainCryptoKeyRSA - " + message, reason);
}

/** Transforms hand on the codes of the key's own process, other calls those of Security. Either way a
 * Keychain tells no more of a password than that it would not do. */
std::string reasonOf(CFErrorRef error) {
  constexpr CFIndex kCssmUserCanceled = -2147415839;
  constexpr CFIndex kCssmNoUserInteraction = -2147415840;
  constexpr CFIndex kCssmOperationAuthDenied = -2147416032;
  const auto details = CFRef<CFDictionaryRef>::adopt(CFErrorCopyUserInfo(error));
  const CFRef<CFStringRef> key = makeCFString("VORNErrorReason");  // a key store of our own knows the word
  const void* word = details ? CFDictionaryGetValue(details.get(), key.get()) : nullptr;
  if (const auto text = utf8Text(ofType<CFStringRef>(word, CFStringGetTypeID()))) return *text;
  switch (CFErrorGetCode(error)) {
    case errSecUserCanceled:
    case kCssmUserCanceled:
      return reason::kPromptCancelled;
    case errSecInteractionNotAllowed:
    case kCssmNoUserInteraction:
      return reason::kNoPrompt;
    case errSecAuthFailed:
    case kCssmOperationAuthDenied:
      return reason::kPinWrong;
    default:
      return reason::kKeyFailed;
  }
}

/** The error object decides over failure, not what the function returned. */
void failOn(const CFRef<CFErrorRef>& error, const char* message) {
  if (error) fail(message + describeError(error.get()), reasonOf(error.get()));
}

void setAttribute(SecTransformRef transform, CFStringRef name, CFTypeRef value, const char* failure) {
  CFRef<CFErrorRef> error;
  SecTransformSetAttribute(transform, name, value, error.out());
  failOn(error, failure);
}

CFRef<CFDataRef> execute(SecTransformRef transform, const char* failure) {
  CFRef<CFErrorRef> error;
  const auto result = CFRef<CFTypeRef>::adopt(SecTransformExecute(transform, error.out()));
  failOn(error, failure);
  return CFRef<CFDataRef>::retain(ofType<CFDataRef>(result.get(), CFDataGetTypeID()));
}

struct Digest {
  CFStringRef type;
  long bits;
};

/** Only the digests that a request can ask for; for others the key store has the word. */
Digest keyStoreDigest(XSECCryptoHash::HashType hashType) {
  switch (hashType) {
#define VORN_ROW(name, method, digest, hash, family, bits, evp) \
  case XSECCryptoHash::hash:                                    \
    return {family, bits};
    VORN_SIGNATURE_ALGORITHMS(VORN_ROW)
#undef VORN_ROW
    default:
      return {nullptr, -1};
  }
}

CFRef<CFDataRef> signDigest(SecKeyRef privateKey, const unsigned char* hash, unsigned int hashLength,
                            XSECCryptoHash::HashType hashType) {
  constexpr char kCreateFailure[] = "Failed to create signer. ";
  CFRef<CFErrorRef> error;
  const auto signer = CFRef<SecTransformRef>::adopt(SecSignTransformCreate(privateKey, error.out()));
  failOn(error, kCreateFailure);
  if (!signer) fail(kCreateFailure);
  const auto input =
      CFRef<CFDataRef>::adopt(CFDataCreate(kCFAllocatorDefault, hash, static_cast<CFIndex>(hashLength)));
  setAttribute(signer.get(), kSecTransformInputAttributeName, input.get(),
               "Failed to configure input of signer. ");
  setAttribute(signer.get(), kSecInputIsAttributeName, kSecInputIsDigest,
               "Failed to configure input type of signer. ");
  setAttribute(signer.get(), kSecPaddingKey, kSecPaddingPKCS1Key, "Failed to configure padding of signer. ");
  const Digest digest = keyStoreDigest(hashType);
  setAttribute(signer.get(), kSecDigestTypeAttribute, digest.type,
               "Failed to configure digest type of signer. ");
  const auto bits =
      CFRef<CFNumberRef>::adopt(CFNumberCreate(kCFAllocatorDefault, kCFNumberLongType, &digest.bits));
  setAttribute(signer.get(), kSecDigestLengthAttribute, bits.get(),
               "Failed to configure digest length of signer. ");
  return execute(signer.get(), "Failed to sign data. ");
}

CFRef<CFDataRef> encodeSignature(CFDataRef signature) {
  constexpr char kCreateFailure[] = "Failed to create Base64 encoder. ";
  CFRef<CFErrorRef> error;
  const auto encoder =
      CFRef<SecTransformRef>::adopt(SecEncodeTransformCreate(kSecBase64Encoding, error.out()));
  failOn(error, kCreateFailure);
  if (!encoder) fail(kCreateFailure);
  setAttribute(encoder.get(), kSecTransformInputAttributeName, signature,
               "Failed to configure input of Base64 encoder. ");
  return execute(encoder.get(), "Failed to Base64 encode signature data. ");
}

std::string_view contentsOf(CFDataRef data) {
  return {reinterpret_cast<const char*>(CFDataGetBytePtr(data)),
          static_cast<std::size_t>(CFDataGetLength(data))};
}

std::string_view publicNumber(const CFRef<CFDataRef>& number) {
  if (!number) fail("The certificate's public key cannot be read as an RSA key");
  return contentsOf(number.get());
}

/** The contents of the DER integer at `position`, which moves behind it; empty when it is none. */
CFRef<CFDataRef> readInteger(std::span<const UInt8> der, std::size_t& position) {
  if (position >= der.size() || der[position] != kIntegerTag) return {};
  ++position;
  const std::optional<std::size_t> length = readDerLength(der, position);
  if (!length || *length > der.size() - position) return {};
  const UInt8* contents = der.data() + position;
  position += *length;
  return CFRef<CFDataRef>::adopt(CFDataCreate(kCFAllocatorDefault, contents, static_cast<CFIndex>(*length)));
}

}  // namespace

KeychainCryptoKeyRSA::KeychainCryptoKeyRSA(SecCertificateRef certificate, SecKeyRef privateKey)
    : privateKey_(privateKey) {
  CFRef<SecKeyRef> publicKey;
  if (SecCertificateCopyPublicKey(certificate, publicKey.out()) == errSecItemNotFound)
    fail("No public key found in certificate");
  const CSSM_KEY* key = nullptr;
  if (SecKeyGetCSSMKey(publicKey.get(), &key) == errSecSuccess && key != nullptr &&
      key->KeyData.Data != nullptr)
    readPublicKey({key->KeyData.Data, key->KeyData.Length});
}

void KeychainCryptoKeyRSA::failUnsupported(const std::string& operation) {
  throw XSECCryptoException(XSECCryptoException::UnsupportedError,
                            ("KeychainCryptoKeyRSA::" + operation + "() is not implemented").c_str());
}

XSECCryptoKey::KeyType KeychainCryptoKeyRSA::getKeyType() const {
  return privateKey_ != nullptr ? XSECCryptoKey::KEY_RSA_PRIVATE : XSECCryptoKey::KEY_NONE;
}

const XMLCh* KeychainCryptoKeyRSA::getProviderName() const {
  return kProviderName.data();
}

unsigned int KeychainCryptoKeyRSA::signSHA1PKCS1Base64Signature(unsigned char* hashBuf, unsigned int hashLen,
                                                                char* base64SignatureBuf,
                                                                unsigned int base64SignatureBufLen,
                                                                XSECCryptoHash::HashType hashType) const {
  const CFRef<CFDataRef> signature = signDigest(privateKey_, hashBuf, hashLen, hashType);
  if (!signature) fail("Signature is null. ");
  // A key that does not belong to the certificate, or a token out of order,
  // would else be noticed by the receiver.
  const std::string_view digest(reinterpret_cast<const char*>(hashBuf), hashLen);
  if (!isRsaSignature({publicNumber(modulus_), publicNumber(exponent_)}, hashType, digest,
                      contentsOf(signature.get())))
    fail("Signature does not verify with the certificate's public key");
  const CFRef<CFDataRef> encoded = encodeSignature(signature.get());
  if (!encoded) return 0;
  const CFIndex length = CFDataGetLength(encoded.get());
  if (length > static_cast<CFIndex>(base64SignatureBufLen)) {
    fail("Signature of " + std::to_string(length) + " characters is longer than the buffer of " +
         std::to_string(base64SignatureBufLen));
  }
  CFDataGetBytes(encoded.get(), CFRangeMake(0, length), reinterpret_cast<UInt8*>(base64SignatureBuf));
  return static_cast<unsigned int>(length);
}

std::string KeychainCryptoKeyRSA::getModulusBase64() const {
  return toBase64(publicNumber(modulus_));
}

std::string KeychainCryptoKeyRSA::getExponentBase64() const {
  return toBase64(publicNumber(exponent_));
}

/** Sets both halves of an RSAPublicKey, or, when the bytes are none, neither. */
void KeychainCryptoKeyRSA::readPublicKey(std::span<const UInt8> der) {
  std::size_t position = 1;
  if (der.empty() || der[0] != kSequenceTag || !readDerLength(der, position)) return;
  CFRef<CFDataRef> modulus = readInteger(der, position);
  CFRef<CFDataRef> exponent = readInteger(der, position);
  if (modulus && exponent) {
    modulus_ = std::move(modulus);
    exponent_ = std::move(exponent);
  }
}

std::string describeError(CFErrorRef error) {
  const auto description = CFRef<CFStringRef>::adopt(CFErrorCopyDescription(error));
  return utf8TextCutTo(description.get(), kErrorBufferSize);
}

std::optional<std::size_t> readDerLength(std::span<const UInt8> der, std::size_t& position) {
  if (position >= der.size()) return std::nullopt;
  std::size_t length = der[position++];
  if (length > kLongLength) {
    const std::size_t count = length - kLongLength;
    if (count > der.size() - position) return std::nullopt;
    length = 0;
    for (const UInt8 byte : der.subspan(position, count)) {
      // More than fits is more than there is, whatever follows.
      const bool fits = length <= std::numeric_limits<std::size_t>::max() >> 8;
      length = fits ? length << 8 | byte : std::numeric_limits<std::size_t>::max();
    }
    position += count;
  }
  if (position >= der.size()) return std::nullopt;
  if (der[position] == 0) {
    if (length == 0) return std::nullopt;
    ++position;
    --length;
  }
  return length;
}

}  // namespace vorn
