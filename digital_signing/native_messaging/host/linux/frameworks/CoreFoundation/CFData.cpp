#include "CoreFoundation/CFData.h"

#include <algorithm>
#include <cstdint>

#include "CoreFoundation/CFInternal.h"

using namespace vorn::frameworks;

namespace vorn::frameworks {

Owned<Data> makeData(std::span<const std::uint8_t> bytes) {
  return Owned<Data>(new Data(std::vector<std::uint8_t>(bytes.begin(), bytes.end())));
}

std::span<const std::uint8_t> bytesOf(CFDataRef data) {
  const auto* object = objectCast<Data>(data);
  return object == nullptr ? std::span<const std::uint8_t>() : std::span(object->bytes());
}

}  // namespace vorn::frameworks

CFTypeID CFDataGetTypeID() {
  return kTypeData;
}

CFDataRef CFDataCreate(CFAllocatorRef /*allocator*/, const UInt8* bytes, CFIndex length) {
  if (length < 0 || (bytes == nullptr && length > 0)) return nullptr;
  return guarded([&] { return handOver<CFDataRef>(makeData({bytes, static_cast<std::size_t>(length)})); });
}

CFIndex CFDataGetLength(CFDataRef data) {
  return static_cast<CFIndex>(bytesOf(data).size());
}

const UInt8* CFDataGetBytePtr(CFDataRef data) {
  return bytesOf(data).data();
}

void CFDataGetBytes(CFDataRef data, CFRange range, UInt8* buffer) {
  const CFIndex available = CFDataGetLength(data);
  if (range.location < 0 || range.length < 0 || range.location > available ||
      range.length > available - range.location)
    return;
  std::copy_n(CFDataGetBytePtr(data) + range.location, range.length, buffer);
}
