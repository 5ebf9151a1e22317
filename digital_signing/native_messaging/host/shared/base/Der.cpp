#include "shared/base/Der.h"

#include <cstdint>

namespace vorn::der {
namespace {

constexpr std::uint8_t kTagNumberMask = 0x1f;
constexpr std::uint8_t kLongForm = 0x80;
/** A certificate of 4 GiB is none: longer length fields are refused before they can overflow. */
constexpr std::size_t kMaxLengthOctets = 4;

}  // namespace

std::optional<Element> Reader::read(unsigned tag) {
  if (rest_.size() < 2 || (tag != kAny && rest_[0] != tag) || (rest_[0] & kTagNumberMask) == kTagNumberMask)
    return std::nullopt;
  std::size_t start = 2;
  std::size_t length = rest_[1];
  if (length >= kLongForm) {
    const std::size_t octets = length - kLongForm;
    if (octets == 0 || octets > kMaxLengthOctets || rest_.size() - start < octets || rest_[start] == 0)
      return std::nullopt;
    length = 0;
    for (std::uint8_t octet : rest_.subspan(start, octets)) length = length << 8 | octet;
    if (length < kLongForm) return std::nullopt;
    start += octets;
  }
  if (rest_.size() - start < length) return std::nullopt;
  const Element element{rest_[0], rest_.subspan(start, length)};
  rest_ = rest_.subspan(start + length);
  return element;
}

std::optional<std::vector<Element>> children(Bytes content, unsigned tag) {
  std::vector<Element> elements;
  for (Reader reader(content); !reader.atEnd();) {
    const auto element = reader.read(tag);
    if (!element) return std::nullopt;
    elements.push_back(*element);
  }
  return elements;
}

std::optional<Bytes> bitStringContent(Bytes content) {
  if (content.empty() || content[0] > 7 || (content[0] != 0 && content.size() == 1)) return std::nullopt;
  return content.subspan(1);
}

bool equal(Bytes left, Bytes right) {
  return viewOf(left) == viewOf(right);
}

}  // namespace vorn::der
