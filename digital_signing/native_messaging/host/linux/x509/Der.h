#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

/**
 * A reader of DER that never leaves the bytes it was given. Everything it hands out is a view into them, so
 * they have to outlive it.
 */
namespace vorn::der {

using Bytes = std::span<const std::uint8_t>;

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
  kGraphicString = 0x19,
  kVisibleString = 0x1a,
  kGeneralString = 0x1b,
  kUniversalString = 0x1c,
  kBmpString = 0x1e,
  kSequence = 0x30,
  kSet = 0x31,
};

/** The identifier octet of a context-specific tag. */
constexpr std::uint8_t contextTag(unsigned number, bool constructed) {
  return static_cast<std::uint8_t>((constructed ? 0xa0u : 0x80u) | number);
}

struct Element {
  std::uint8_t tag = 0;
  Bytes content;
  /** Tag, length and content. */
  Bytes whole;
};

/** Reads the elements that stand one after the other in some bytes. */
class Reader {
 public:
  explicit Reader(Bytes bytes) : rest_(bytes) {}

  bool atEnd() const { return rest_.empty(); }
  /** The tag of the element that comes next; none at the end. */
  std::optional<std::uint8_t> peek() const;
  /** The next element; none when the bytes that follow are no complete element with a
   * definite, minimal length. */
  std::optional<Element> read();
  /** The next element when it has this tag; otherwise none, and nothing is taken. */
  std::optional<Element> read(std::uint8_t tag);

 private:
  Bytes rest_;
};

/** The elements inside `content`; none when any of them is malformed. */
std::optional<std::vector<Element>> children(Bytes content);

/** The content of a BIT STRING without its first octet, the count of unused bits; none when that
 * count is impossible. */
std::optional<Bytes> bitStringContent(Bytes content);

/** Whether two runs of bytes are equal. */
bool equal(Bytes left, Bytes right);

}  // namespace vorn::der
