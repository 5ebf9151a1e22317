#include "Security/SecSignVerifyTransform.h"

#include <limits>

#include "Security/SecDigestTransform.h"
#include "linux/frameworks/Security/SecObjects.h"
#include "linux/frameworks/Security/SignatureInput.h"
#include "linux/frameworks/Security/TokenKey.h"
#include "linux/frameworks/Security/Transform.h"

namespace vorn::frameworks {
namespace {

constexpr std::size_t kPkcs1PaddingLength = 11;

enum class InputKind { plainText, digest, raw };

std::optional<InputKind> inputKindOf(CFTypeRef value) {
  const auto is = [value](CFStringRef constant) { return value != nullptr && CFEqual(value, constant) != 0; };
  if (is(kSecInputIsPlainText)) {
    return InputKind::plainText;
  }
  if (is(kSecInputIsDigest)) {
    return InputKind::digest;
  }
  return is(kSecInputIsRaw) ? std::optional(InputKind::raw) : std::nullopt;
}

Owned<> unsupportedDigest(TokenKey::Algorithm algorithm) {
  return transformError(
      kSecTransformErrorInvalidAlgorithm,
      algorithm == TokenKey::Algorithm::rsa
          ? "Invalid digest algorithm for RSA signature, choose one of: SHA1, SHA2 (512bits, 348bits, "
            "256bits, or 224 bits), MD2, or MD5"
          : "Invalid digest algorithm for ECDSA signature, choose one of: SHA1, or SHA2 (512bits, 348bits, "
            "256bits, or 224 bits)");
}

CFStringRef keyAttributeName() {
  return constantString<"KEY">();
}

class SignTransform final : public Transform {
 public:
  explicit SignTransform(CFTypeRef key)
      : Transform("com.apple.security.Sign", {keyAttributeName(), kSecTransformInputAttributeName}) {
    store(keyAttributeName(), key);
    store(kSecDigestTypeAttribute, kSecDigestSHA1);
    store(kSecInputIsAttributeName, kSecInputIsPlainText);
    refuseKeysThatCannotSign(key);
  }

  Owned<> keyError() const { return retained(keyError_.get()); }

 protected:
  Outcome run() override;

 private:
  void refuseKeysThatCannotSign(CFTypeRef key) {
    const auto* object = objectCast<Key>(key);
    if (key == nullptr || (object != nullptr && object->tokenKey() != nullptr)) {
      return;
    }
    keyError_ = object == nullptr
                    ? internalError(errSecInvalidItemRef, "SecSignTransformCreate")
                    : transformError(kSecTransformErrorInvalidInput, "Key (null) can not be used to sign");
    abort(retained(keyError_.get()));
  }

  const DigestAlgorithm* digestAlgorithm() const {
    const CFTypeRef type = attribute(kSecDigestTypeAttribute);
    const CFTypeRef length = attribute(kSecDigestLengthAttribute);
    const auto* number = objectCast<Number>(length);
    std::int64_t bits = 0;
    const bool exact = number == nullptr
                           ? length == nullptr
                           : CFNumberGetValue(asRef<CFNumberRef>(number), kCFNumberSInt64Type, &bits) != 0;
    // A missing type ends in an error here. The interface's first implementation waits for ever instead.
    return type != nullptr && exact
               ? findDigestAlgorithm(utf8Of(asRef<CFStringRef>(objectCast<String>(type))), bits)
               : nullptr;
  }

  Owned<> keyError_;
};

/** The checks come in the order in which they can fail: algorithm, then input, then the key in its token. */
Outcome SignTransform::run() {
  const TokenKey& key = *objectCast<Key>(attribute(keyAttributeName()))->tokenKey();
  if (key.algorithm() == TokenKey::Algorithm::other) {
    return fail(
        transformError(kSecTransformErrorInvalidAlgorithm, "Expected key to be RSA, DSA or ECDSA key"));
  }
  const auto kind = inputKindOf(attribute(kSecInputIsAttributeName));
  if (!kind) {
    return fail(
        transformError(kSecTransformErrorInvalidType, "InputIs should be one of: PlainText, Digest, or Raw"));
  }
  const auto* input = objectCast<Data>(attribute(kSecTransformInputAttributeName));
  if (input == nullptr) {
    return fail(transformError(kSecTransformErrorInvalidInput, "The input to sign is not CFData"));
  }
  std::vector<std::uint8_t> bytes = input->bytes();
  if (*kind != InputKind::raw) {
    const DigestAlgorithm* digest = digestAlgorithm();
    if (digest == nullptr) {
      return fail(unsupportedDigest(key.algorithm()));
    }
    if (*kind == InputKind::plainText) {
      bytes = digestOf(*digest, bytes);
    }
    if (key.algorithm() == TokenKey::Algorithm::rsa) {
      bytes = digestInfo(*digest, bytes);
    }
  }
  if (key.algorithm() == TokenKey::Algorithm::rsa &&
      bytes.size() + kPkcs1PaddingLength > key.modulusLength()) {
    return fail(internalError(kCssmInputLengthError, "SecTransformExecute"));
  }
  auto signature = key.sign(bytes);
  if (const auto* error = std::get_if<NssError>(&signature)) {
    return fail(internalError(error->cssmCode, "SecTransformExecute (" + error->name + ")"));
  }
  return succeed(makeData(std::get<std::vector<std::uint8_t>>(signature)));
}

}  // namespace
}  // namespace vorn::frameworks

using namespace vorn::frameworks;

SecTransformRef SecSignTransformCreate(SecKeyRef key, CFErrorRef* error) {
  return guarded([&]() -> SecTransformRef {
    Owned<SignTransform> transform(new SignTransform(key));
    if (error != nullptr) {
      *error = handOver<CFErrorRef>(transform->keyError());
    }
    return handOver<SecTransformRef>(std::move(transform));
  });
}
