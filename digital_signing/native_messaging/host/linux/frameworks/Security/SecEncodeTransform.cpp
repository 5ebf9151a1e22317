#include "Security/SecEncodeTransform.h"

#include <cstdint>

#include "linux/frameworks/Security/Transform.h"

namespace vorn::frameworks {
namespace {

std::vector<std::uint8_t> base64(std::span<const std::uint8_t> bytes) {
  static constexpr char kAlphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  std::vector<std::uint8_t> text;
  text.reserve((bytes.size() + 2) / 3 * 4);
  for (std::size_t position = 0; position < bytes.size(); position += 3) {
    const std::size_t taken = std::min<std::size_t>(bytes.size() - position, 3);
    std::uint32_t group = 0;
    for (std::size_t index = 0; index < 3; ++index)
      group = group << 8 | (index < taken ? bytes[position + index] : 0u);
    for (std::size_t index = 0; index < 4; ++index) {
      const std::uint32_t sixBits = group >> (18 - 6 * index) & 0x3f;
      text.push_back(static_cast<std::uint8_t>(index <= taken ? kAlphabet[sixBits] : '='));
    }
  }
  return text;
}

class EncodeTransform final : public Transform {
 public:
  EncodeTransform() : Transform("com.apple.security.Encode", {kSecTransformInputAttributeName}) {}

 protected:
  Outcome run() override {
    const auto* input = objectCast<Data>(attribute(kSecTransformInputAttributeName));
    if (input == nullptr)
      return transformError(kSecTransformErrorInvalidInput, "The input to encode is not CFData");
    return Outcome(makeData(base64(input->bytes())));
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
