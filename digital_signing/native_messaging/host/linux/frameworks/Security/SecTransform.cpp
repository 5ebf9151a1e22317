#include <cstdint>
#include <cstdio>

#include "linux/frameworks/Security/SecObjects.h"
#include "shared/base/Base64.h"

namespace vorn::frameworks {
namespace {

/** What a transform came to. */
using Outcome = std::variant<Owned<Data>, Owned<Error>>;

/** An error of the transforms themselves. */
Owned<Error> transformError(CFIndex code, std::string_view description) {
  return makeError("com.apple.security.transforms.error", code, description);
}

/** What the cryptography below has to say. */
Owned<Error> internalError(OSStatus code, std::string_view where) {
  char hexadecimal[9];
  std::snprintf(hexadecimal, sizeof hexadecimal, "%x", static_cast<UInt32>(code));
  const std::string description = std::string("Internal error #").append(hexadecimal).append(" at ");
  return makeError("Internal CSSM error", code, description + std::string(where));
}

/** The head of all transforms: named attributes, and their execution. */
class Transform : public Object {
 public:
  static constexpr CFTypeID kType = kTypeTransform;

  /** Stores and retains a value; null unsets the attribute. */
  void set(CFStringRef key, CFTypeRef value) { attributes_.push_back({retained(key), retained(value)}); }

  Outcome execute() {
    std::string missing;
    for (CFStringRef key : required_)
      if (attribute(key) == nullptr) missing.append(missing.empty() ? "" : ", ").append(utf8Of(key));
    if (missing.empty()) return run();
    return transformError(
        kSecTransformErrorMissingParameter,
        std::string("Can not execute ").append(typeName_) + ", missing required attributes: " + missing);
  }

 protected:
  /** `required` are the attributes without which it does not run. */
  Transform(std::string_view typeName, std::vector<CFStringRef> required)
      : Object(kType), typeName_(typeName), required_(std::move(required)) {}

  virtual Outcome run() = 0;

  /** The value of an attribute; null when it is unset. */
  CFTypeRef attribute(CFStringRef key) const {
    const auto last = std::find_if(attributes_.rbegin(), attributes_.rend(),
                                   [key](const Entry& entry) { return CFEqual(entry.key.get(), key) != 0; });
    return last != attributes_.rend() ? last->value.get() : nullptr;
  }

 private:
  const std::string_view typeName_;
  const std::vector<CFStringRef> required_;
  /** In the order in which they were set: the last of a key counts. */
  std::vector<Entry> attributes_;
};

class EncodeTransform final : public Transform {
 public:
  EncodeTransform() : Transform("com.apple.security.Encode", {kSecTransformInputAttributeName}) {}

 protected:
  Outcome run() override {
    const auto* input = objectCast<Data>(attribute(kSecTransformInputAttributeName));
    if (input == nullptr)
      return transformError(kSecTransformErrorInvalidInput, "The input to encode is not CFData");
    const std::string text = toBase64(der::viewOf(input->value));
    return Outcome(makeData({reinterpret_cast<const std::uint8_t*>(text.data()), text.size()}));
  }
};

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
    {kSecDigestSHA1, 160, kSha1Prefix},
    {kSecDigestSHA2, 256, kSha256Prefix},
    {kSecDigestSHA2, 512, kSha512Prefix},
};

constexpr CFStringRef kKeyAttributeName = constantString<"KEY">();

class SignTransform final : public Transform {
 public:
  explicit SignTransform(SecKeyRef key)
      : Transform("com.apple.security.Sign", {kKeyAttributeName, kSecTransformInputAttributeName}) {
    set(kKeyAttributeName, key);
  }

 protected:
  /** The checks come in the order in which they can fail: algorithm, then input, then the key in its token.
   */
  Outcome run() override {
    const auto* key = dynamic_cast<const PrivateKey*>(objectCast<Key>(attribute(kKeyAttributeName)));
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
    bytes.insert(bytes.end(), input->value.begin(), input->value.end());
    if (input->value.size() * kBitsPerOctet != static_cast<std::size_t>(digest->bits) ||
        bytes.size() + kPkcs1PaddingLength > key->modulusLength())
      return internalError(kCssmInputLengthError, "SecTransformExecute");
    auto signature = key->sign(bytes);
    if (const auto* refusal = std::get_if<PrivateKey::Refusal>(&signature)) {
      if (!refusal->sentence.empty())
        return makeError("Internal CSSM error", refusal->code, refusal->sentence, refusal->reason);
      return internalError(refusal->code, "SecTransformExecute (" + refusal->name + ")");
    }
    return Outcome(makeData(std::get<std::vector<std::uint8_t>>(signature)));
  }

 private:
  const DigestAlgorithm* digestAlgorithm() const {
    const auto* object = objectCast<Number>(attribute(kSecDigestLengthAttribute));
    const auto* length = object != nullptr ? std::get_if<std::int64_t>(&object->value) : nullptr;
    for (const DigestAlgorithm& algorithm : kAlgorithms)
      if (length != nullptr && *length == algorithm.bits &&
          CFEqual(attribute(kSecDigestTypeAttribute), algorithm.type))
        return &algorithm;
    return nullptr;
  }
};

}  // namespace
}  // namespace vorn::frameworks

using namespace vorn::frameworks;

SecTransformRef SecEncodeTransformCreate(CFTypeRef encodeType, CFErrorRef* error) {
  return guarded([&]() -> SecTransformRef {
    const bool isSupported = CFEqual(encodeType, kSecBase64Encoding) != 0;
    if (error != nullptr)
      *error = isSupported ? nullptr
                           : handOver<CFErrorRef>(transformError(
                                 kSecTransformErrorInvalidInput,
                                 "Unsupported encode type, supported types are kSecBase64Encoding"));
    return isSupported ? handOver<SecTransformRef>(Owned<EncodeTransform>(new EncodeTransform)) : nullptr;
  });
}

SecTransformRef SecSignTransformCreate(SecKeyRef key, CFErrorRef* error) {
  if (error != nullptr) *error = nullptr;
  return guarded([&] { return handOver<SecTransformRef>(Owned<SignTransform>(new SignTransform(key))); });
}

Boolean SecTransformSetAttribute(SecTransformRef transform, CFStringRef key, CFTypeRef value,
                                 CFErrorRef* error) {
  if (error != nullptr) *error = nullptr;
  return guarded([&]() -> Boolean {
    auto* object = objectCast<Transform>(transform);
    if (object != nullptr) object->set(key, value);
    return object != nullptr;
  });
}

CFTypeRef SecTransformExecute(SecTransformRef transform, CFErrorRef* error) {
  return guarded([&]() -> CFTypeRef {
    auto* object = objectCast<Transform>(transform);
    Outcome outcome = object != nullptr ? object->execute()
                                        : transformError(kSecTransformErrorInvalidArgument,
                                                         "NULL transform can not be executed");
    auto* failure = std::get_if<Owned<Error>>(&outcome);
    if (error != nullptr) *error = failure != nullptr ? handOver<CFErrorRef>(std::move(*failure)) : nullptr;
    return failure != nullptr ? nullptr : handOver<CFTypeRef>(std::move(std::get<Owned<Data>>(outcome)));
  });
}
