#include "Security/SecSignVerifyTransform.h"

#include <cstdint>

#include "Security/SecDigestTransform.h"
#include "linux/frameworks/Security/SecObjects.h"
#include "linux/frameworks/Security/Transform.h"

namespace vorn::frameworks {
namespace {

constexpr OSStatus kCssmInputLengthError = -2147415807;
constexpr std::size_t kPkcs1PaddingLength = 11;

// The DER of a DigestInfo up to the digest itself, which follows.
constexpr std::uint8_t kSha1Prefix[] = {0x30, 0x21, 0x30, 0x09, 0x06, 0x05, 0x2b, 0x0e,
                                        0x03, 0x02, 0x1a, 0x05, 0x00, 0x04, 0x14};
constexpr std::uint8_t kSha256Prefix[] = {0x30, 0x31, 0x30, 0x0d, 0x06, 0x09, 0x60, 0x86, 0x48, 0x01,
                                          0x65, 0x03, 0x04, 0x02, 0x01, 0x05, 0x00, 0x04, 0x20};
constexpr std::uint8_t kSha512Prefix[] = {0x30, 0x51, 0x30, 0x0d, 0x06, 0x09, 0x60, 0x86, 0x48, 0x01,
                                          0x65, 0x03, 0x04, 0x02, 0x03, 0x05, 0x00, 0x04, 0x40};

struct DigestAlgorithm {
  CFStringRef type;
  std::int64_t bits;
  der::Bytes prefix;
};

const DigestAlgorithm kAlgorithms[] = {
    {constantString<"SHA1 Digest">(), 160, kSha1Prefix},
    {constantString<"SHA2 Digest Family">(), 256, kSha256Prefix},
    {constantString<"SHA2 Digest Family">(), 512, kSha512Prefix},
};

CFStringRef keyAttributeName() {
  return constantString<"KEY">();
}

class SignTransform final : public Transform {
 public:
  explicit SignTransform(SecKeyRef key)
      : Transform("com.apple.security.Sign", {keyAttributeName(), kSecTransformInputAttributeName}) {
    set(keyAttributeName(), key);
  }

 protected:
  Outcome run() override;

 private:
  const DigestAlgorithm* digestAlgorithm() const {
    const auto* length = objectCast<Number>(attribute(kSecDigestLengthAttribute));
    for (const DigestAlgorithm& algorithm : kAlgorithms)
      if (length != nullptr && length->value() == Number::Value(algorithm.bits) &&
          CFEqual(attribute(kSecDigestTypeAttribute), algorithm.type))
        return &algorithm;
    return nullptr;
  }
};

/** The checks come in the order in which they can fail: algorithm, then input, then the key in its token. */
Outcome SignTransform::run() {
  const auto* object = objectCast<Key>(attribute(keyAttributeName()));
  const RemoteKey* key = object != nullptr ? object->remoteKey() : nullptr;
  if (key == nullptr || !key->isRsa())
    return transformError(kSecTransformErrorInvalidAlgorithm, "Expected key to be an RSA key that signs");
  const auto* input = objectCast<Data>(attribute(kSecTransformInputAttributeName));
  if (input == nullptr || !CFEqual(attribute(kSecInputIsAttributeName), kSecInputIsDigest))
    return transformError(kSecTransformErrorInvalidInput, "The input to sign is no digest");
  const DigestAlgorithm* digest = digestAlgorithm();
  if (digest == nullptr) {
    return transformError(kSecTransformErrorInvalidAlgorithm,
                          "Invalid digest algorithm for RSA signature, choose one of: SHA1, SHA2 (512bits, "
                          "348bits, 256bits, or 224 bits), MD2, or MD5");
  }
  constexpr unsigned kBitsPerOctet = 8;
  std::vector<std::uint8_t> bytes(digest->prefix.begin(), digest->prefix.end());
  bytes.insert(bytes.end(), input->bytes().begin(), input->bytes().end());
  if (input->bytes().size() * kBitsPerOctet != static_cast<std::size_t>(digest->bits) ||
      bytes.size() + kPkcs1PaddingLength > key->modulusLength())
    return internalError(kCssmInputLengthError, "SecTransformExecute");
  auto signature = key->sign(bytes);
  if (const auto* refusal = std::get_if<RemoteKey::Refusal>(&signature)) {
    if (!refusal->sentence.empty())
      return makeError("Internal CSSM error", refusal->code, refusal->sentence, refusal->reason);
    return internalError(refusal->code, "SecTransformExecute (" + refusal->name + ")");
  }
  return Outcome(makeData(std::get<std::vector<std::uint8_t>>(signature)));
}

}  // namespace
}  // namespace vorn::frameworks

using namespace vorn::frameworks;

SecTransformRef SecSignTransformCreate(SecKeyRef key, CFErrorRef* error) {
  if (error != nullptr) *error = nullptr;
  return guarded([&] { return handOver<SecTransformRef>(Owned<SignTransform>(new SignTransform(key))); });
}
