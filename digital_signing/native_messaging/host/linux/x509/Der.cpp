#include "linux/x509/Der.h"

#include <algorithm>
#include <cstdint>

namespace vorn::der {
namespace {

constexpr std::uint8_t kTagNumberMask = 0x1f;
constexpr std::uint8_t kLongForm = 0x80;
/** A certificate of 4 GiB is none: longer length fields are refused before they can overflow. */
constexpr std::size_t kMaxLengthOctets = 4;

struct Header {
  std::size_t size;
  std::size_t contentLength;
};

std::optional<Header> readHeader(Bytes bytes) {
  if (bytes.size() < 2 || (bytes[0] & kTagNumberMask) == kTagNumberMask) return std::nullopt;
  if (bytes[1] < kLongForm) return Header{2, bytes[1]};
  const std::size_t octets = bytes[1] & ~kLongForm & 0xffu;
  if (octets == 0 || octets > kMaxLengthOctets || bytes.size() - 2 < octets) return std::nullopt;
  std::size_t length = 0;
  for (std::uint8_t octet : bytes.subspan(2, octets)) length = length << 8 | octet;
  const bool minimal = bytes[2] != 0 && length >= kLongForm;
  return minimal ? std::optional(Header{2 + octets, length}) : std::nullopt;
}

}  // namespace

std::optional<std::uint8_t> Reader::peek() const {
  return atEnd() ? std::nullopt : std::optional(rest_[0]);
}

std::optional<Element> Reader::read() {
  const auto header = readHeader(rest_);
  if (!header || rest_.size() - header->size < header->contentLength) return std::nullopt;
  const std::size_t total = header->size + header->contentLength;
  const Element element{rest_[0], rest_.subspan(header->size, header->contentLength), rest_.first(total)};
  rest_ = rest_.subspan(total);
  return element;
}

std::optional<Element> Reader::read(std::uint8_t tag) {
  return peek() == tag ? read() : std::nullopt;
}

std::optional<std::vector<Element>> children(Bytes content) {
  std::vector<Element> elements;
  for (Reader reader(content); !reader.atEnd();) {
    const auto element = reader.read();
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
  return std::equal(left.begin(), left.end(), right.begin(), right.end());
}

}  // namespace vorn::der
