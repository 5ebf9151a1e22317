#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string_view>
#include <vector>

/** A reader of DER that never leaves the bytes it was given. The elements that it hands out are views into
 * them, so they have to outlive it. */
namespace vorn::der {

using Bytes = std::span<const std::uint8_t>;

inline std::string_view viewOf(Bytes bytes) {
  return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

/** Identifier octets; numbers of 31 and more, which take several octets, occur in no certificate
 * and are refused. */
enum Tag : std::uint8_t {
  kBoolean = 0x01,
  kInteger = 0x02,
  kBitString = 0x03,
  kOctetString = 0x04,
  kNull = 0x05,
  kObjectIdentifier = 0x06,
  kUtf8String = 0x0c,
  kNumericString = 0x12,
  kPrintableString = 0x13,
  kT61String = 0x14,
  kVideotexString = 0x15,
  kIa5String = 0x16,
  kUtcTime = 0x17,
  kGeneralizedTime = 0x18,
  kVisibleString = 0x1a,
  kGeneralString = 0x1b,
  kUniversalString = 0x1c,
  kBmpString = 0x1e,
  kSequence = 0x30,
  kSet = 0x31,
};

/** In a list of tags: an element of any tag; and, with a tag, one that may be missing. */
inline constexpr unsigned kAny = 0x100;
inline constexpr unsigned kOptional = 0x200;

/** The identifier octet of a context-specific tag. */
constexpr std::uint8_t contextTag(unsigned number, bool constructed) {
  return static_cast<std::uint8_t>((constructed ? 0xa0u : 0x80u) | number);
}

struct Element {
  std::uint8_t tag = 0;
  Bytes content;
};

/** Reads the elements that stand one after the other in some bytes. */
class Reader {
 public:
  explicit Reader(Bytes bytes) : rest_(bytes) {}

  bool atEnd() const { return rest_.empty(); }
  /** The next element when it has this tag; none, and nothing is taken, when it has another, or when the
   * bytes that follow are no complete element with a definite, minimal length. */
  std::optional<Element> read(unsigned tag = kAny);

 private:
  Bytes rest_;
};

/** The elements inside `content`; none when any of them is malformed or of another tag. */
std::optional<std::vector<Element>> children(Bytes content, unsigned tag = kAny);

/** The elements inside `content` when they are those of `tags`, in this order and no more. One that is
 * missing has the tag 0. */
template <std::size_t count>
std::optional<std::array<Element, count>> fields(Bytes content, const unsigned (&tags)[count]) {
  std::array<Element, count> elements;
  Reader reader(content);
  for (std::size_t i = 0; i < count; ++i) {
    const auto element = reader.read(tags[i] & ~kOptional);
    if (!element && (tags[i] & kOptional) == 0) return std::nullopt;
    elements[i] = element.value_or(Element());
  }
  return reader.atEnd() ? std::optional(elements) : std::nullopt;
}

/** The content of a BIT STRING without its first octet, the count of unused bits; none when that
 * count is impossible. */
std::optional<Bytes> bitStringContent(Bytes content);

/** Whether two runs of bytes are equal. */
bool equal(Bytes left, Bytes right);

}  // namespace vorn::der
