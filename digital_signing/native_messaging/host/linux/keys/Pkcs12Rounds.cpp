#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "linux/keys/Pkcs12File.h"

namespace vorn::keys {
namespace {

// The most that programs write is a million, and some seconds are ten of it.
constexpr std::uint64_t kMostAtOnce = 10'000'000;
constexpr std::uint64_t kMostTogether = 5 * kMostAtOnce;

constexpr std::uint8_t kInteger = 0x02;
constexpr std::uint8_t kString = 0x04;
constexpr std::uint8_t kConstructed = 0x20;
constexpr std::uint8_t kSequence = 0x30;
constexpr std::uint8_t kNoEnd = 0x80;
constexpr int kDeepest = 64;

using Bytes = std::span<const std::uint8_t>;

/**
 * Goes through BER, of which DER is a part: such files have lengths without an end, and strings in pieces. In
 * all of them a count of rounds is the number that stands behind a string of bytes, the salt.
 */
class Rounds {
 public:
  /** Takes the elements off `bytes`, up to an end of contents, or to what is no element: whoever reads on
   * there does so at the pace of one byte after another. `pieces` is the string that they are parts of. */
  void count(Bytes& bytes, int depth, std::vector<std::uint8_t>* pieces = nullptr) {
    if (depth == 0) isTooMuch_ = true;
    bool isBehindString = false;
    while (bytes.size() >= 2 && !isTooMuch_) {
      const std::uint8_t tag = bytes[0];
      const std::uint8_t length = bytes[1];
      bytes = bytes.subspan(2);
      if (tag == 0 && length == 0) return;
      const bool isString = (tag & ~kConstructed) == kString;
      std::vector<std::uint8_t> joined;
      std::vector<std::uint8_t>* const parts = pieces != nullptr ? pieces : isString ? &joined : nullptr;
      Bytes content = length == kNoEnd ? Bytes() : takeContent(bytes, length);
      if (length == kNoEnd)
        count(bytes, depth - 1, parts);
      else if ((tag & kConstructed) != 0)
        count(content, depth - 1, parts);
      else if (pieces != nullptr)
        pieces->insert(pieces->end(), content.begin(), content.end());
      else if (isString)
        countWithin(content, depth);
      else if (tag == kInteger && isBehindString)
        add(content);
      countWithin(joined, depth);
      isBehindString = isString;
    }
  }

  bool isTooMuch() const { return isTooMuch_; }

 private:
  /** Strings hold further elements, or anything else. */
  void countWithin(Bytes string, int depth) {
    if (!string.empty() && string[0] == kSequence) count(string, depth - 1);
  }

  static Bytes takeContent(Bytes& bytes, std::uint8_t first) {
    std::size_t length = first;
    if (first > kNoEnd) {
      length = 0;
      for (unsigned octets = first & 0x7FU; octets > 0 && !bytes.empty(); --octets, bytes = bytes.subspan(1))
        length = length > SIZE_MAX >> 8 ? SIZE_MAX : length << 8 | bytes[0];
    }
    const Bytes content = bytes.first(std::min(length, bytes.size()));
    bytes = bytes.subspan(content.size());
    return content;
  }

  void add(Bytes number) {
    const bool isNegative = !number.empty() && number[0] >= 0x80;
    std::uint64_t rounds = isNegative ? kMostAtOnce + 1 : 0;
    for (const std::uint8_t octet : number)
      if (rounds <= kMostAtOnce) rounds = rounds << 8 | octet;
    together_ += rounds;
    if (rounds > kMostAtOnce || together_ > kMostTogether) isTooMuch_ = true;
  }

  std::uint64_t together_ = 0;
  bool isTooMuch_ = false;
};

}  // namespace

bool asksForTooManyRounds(Bytes file) {
  Rounds rounds;
  rounds.count(file, kDeepest);
  return rounds.isTooMuch();
}

}  // namespace vorn::keys
