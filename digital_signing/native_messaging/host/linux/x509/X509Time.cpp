#include "linux/x509/X509Time.h"

#include <chrono>
#include <cstdint>

namespace vorn::x509 {
namespace {

/** Takes decimal numbers of a fixed width from the front of a text. */
class Digits {
 public:
  explicit Digits(der::Bytes text) : rest_(text) {}

  bool failed() const { return failed_; }
  der::Bytes rest() const { return rest_; }

  int take(std::size_t width) {
    int value = 0;
    if (rest_.size() < width) {
      failed_ = true;
      return 0;
    }
    for (std::uint8_t character : rest_.first(width)) {
      failed_ = failed_ || character < '0' || character > '9';
      value = value * 10 + (character - '0');
    }
    rest_ = rest_.subspan(width);
    return failed_ ? 0 : value;
  }

 private:
  der::Bytes rest_;
  bool failed_ = false;
};

/** What the zone at a time's end adds to UTC, in seconds; none when it is neither Z nor a numeric offset. */
std::optional<int> readZone(der::Bytes text) {
  if (text.size() == 1 && text[0] == 'Z') return 0;
  if (text.size() != 5 || (text[0] != '+' && text[0] != '-')) return std::nullopt;
  Digits digits(text.subspan(1));
  const int hours = digits.take(2);
  const int minutes = digits.take(2);
  const int seconds = hours * 3600 + minutes * 60;
  return digits.failed() || hours > 23 || minutes > 59 ? std::nullopt
                                                       : std::optional(text[0] == '+' ? seconds : -seconds);
}

std::optional<double> secondsSince2001(int yearNumber, Digits digits, bool hasSeconds) {
  using namespace std::chrono;
  const int monthNumber = digits.take(2);
  const int dayNumber = digits.take(2);
  const auto date = year(yearNumber) / monthNumber / dayNumber;
  const int hour = digits.take(2);
  const int minute = digits.take(2);
  const int second = hasSeconds ? digits.take(2) : 0;
  const auto zone = readZone(digits.rest());
  if (digits.failed() || !zone || !date.ok() || hour > 23 || minute > 59 || second > 60) return std::nullopt;
  const auto days = sys_days(date) - sys_days(2001y / January / 1);
  return static_cast<double>(days.count()) * 86400.0 + hour * 3600 + minute * 60 + second - *zone;
}

std::optional<double> readUtcTime(der::Bytes text) {
  constexpr std::size_t kLengthWithoutSeconds = 11;
  const bool hasSeconds = text.size() != kLengthWithoutSeconds;
  Digits digits(text);
  const int year = digits.take(2);
  const auto seconds = secondsSince2001(year < 50 ? 2000 + year : 1900 + year, digits, hasSeconds);
  const bool hasNoCentury = year >= 50 && year < 70;
  return seconds && hasNoCentury ? 0.0 : seconds;
}

}  // namespace

std::optional<double> readTime(const der::Element& time) {
  if (time.tag == der::kUtcTime) return readUtcTime(time.content);
  if (time.tag == der::kGeneralizedTime) {
    Digits digits(time.content);
    const int year = digits.take(4);
    return digits.failed() ? std::nullopt : secondsSince2001(year, digits, true);
  }
  return std::nullopt;
}

}  // namespace vorn::x509
