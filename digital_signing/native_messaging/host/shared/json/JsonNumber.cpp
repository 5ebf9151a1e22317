#include "shared/json/JsonNumber.h"

#include <charconv>
#include <cmath>
#include <cstdint>
#include <ios>
#include <locale>
#include <string_view>

namespace jsonxx {
namespace {

// The streams' own facets, run on plain pointers: their results are the streams' results by construction,
// without a stream for each number. Deriving opens the protected destructors.
class Extraction : public std::num_get<char, const char*> {};
class Insertion : public std::num_put<char, char*> {};

/** Lends the facets the format flags, precision and locale of a stream; it has no characters of its own. */
class ClassicFormat : public std::ios {
 public:
  ClassicFormat() : std::ios(nullptr) {
    imbue(std::locale::classic());
    precision(19);
  }
};

ClassicFormat& classicFormat() {
  static ClassicFormat format;
  return format;
}

/** So many digits fit a 64-bit integer, and are written out in full with precision 19. */
constexpr int kPlainDigits = 18;
constexpr long double kPlainLimit = 1e18L;

/** What values of other kinds and ends of containers start with; none of it starts a number in any library.
 */
constexpr std::string_view kOtherStarts = "[]{},tf";

bool isDigit(char c) {
  return c >= '0' && c <= '9';
}

/**
 * What ends a number in every library. Other characters may belong to it: "0x10" is 0 or 16, as
 * the library goes.
 */
bool endsNumber(char c) {
  constexpr std::string_view kEnds = ",]}/ \t\n\v\f\r";
  return kEnds.find(c) != std::string_view::npos;
}

/** The common case, a short run of digits: null when the text is, or may go on as, anything else. */
const char* readPlainInteger(const char* begin, const char* end, long double& number) {
  const char* at = begin;
  const bool negative = at != end && *at == '-';
  if (negative) ++at;
  const char* const digits = at;
  std::uint64_t magnitude = 0;
  for (; at != end && isDigit(*at); ++at) {
    if (at - digits == kPlainDigits) return nullptr;
    magnitude = magnitude * 10 + static_cast<unsigned>(*at - '0');
  }
  if (at == digits) return nullptr;
  if (at != end && !endsNumber(*at)) return nullptr;
  number = static_cast<long double>(magnitude);
  if (negative) number = -number;
  return at;
}

}  // namespace

const char* readNumber(const char* begin, const char* end, long double& number) {
  if (begin == end || kOtherStarts.find(*begin) != std::string_view::npos) return nullptr;
  if (const char* stop = readPlainInteger(begin, end, number)) return stop;
  static const Extraction extraction;
  std::ios::iostate state = std::ios::goodbit;
  const char* const stop = extraction.get(begin, end, classicFormat(), state, number);
  return (state & std::ios::failbit) != 0 ? nullptr : stop;
}

void appendNumber(std::string& text, long double number) {
  char buffer[64];
  if (number > -kPlainLimit && number < kPlainLimit) {
    const auto integer = static_cast<std::int64_t>(number);
    const bool negativeZero = integer == 0 && std::signbit(number);
    if (static_cast<long double>(integer) == number && !negativeZero) {
      text.append(buffer, std::to_chars(buffer, buffer + sizeof(buffer), integer).ptr);
      return;
    }
  }
  static const Insertion insertion;
  // At most a sign, 19 digits, a point, four zeros after it or an exponent: the buffer holds any number.
  text.append(buffer, insertion.put(buffer, classicFormat(), ' ', number));
}

}  // namespace jsonxx
