#include "CoreFoundation/CFDateFormatter.h"

#include <time.h>

#include <array>
#include <chrono>
#include <cmath>
#include <optional>

#include "CoreFoundation/CFInternal.h"

using namespace vorn::frameworks;

namespace {

constexpr std::size_t kLongestFormat = 1024;

class DateFormatter final : public Object {
 public:
  static constexpr CFTypeID kType = kTypeDateFormatter;
  DateFormatter() : Object(kType) {}

  void setFormat(std::u16string format) { format_ = std::move(format); }
  /** Empty until a format is set. */
  const std::u16string& format() const { return format_; }

 private:
  std::u16string format_;
};

struct Moment {
  long year;
  int month;
  int day;
  int hour;
  int minute;
  int second;
};

using Days = std::chrono::sys_days;
constexpr Days kGregorianStart = std::chrono::year(1582) / 10 / 15;

/**
 * Sets the date of a day in the Julian calendar, counted in years that begin on 1 March: their leap day comes
 * last. The year is that of its era, so that the one before 1 is 1 again.
 */
void setJulianDate(Moment& moment, Days day) {
  constexpr Days kMarchOfYearZero =
      Days(std::chrono::year(0) / 2 / 28);  // what 1 March 0 is in the Gregorian one
  constexpr long kFourYears = 1461;
  const long days = (day - kMarchOfYearZero).count();
  const long cycle = (days >= 0 ? days : days - (kFourYears - 1)) / kFourYears;
  const long dayOfCycle = days - cycle * kFourYears;
  const long yearOfCycle = std::min(dayOfCycle / 365, 3L);
  const long dayOfYear = dayOfCycle - yearOfCycle * 365;
  const long monthFromMarch = (5 * dayOfYear + 2) / 153;
  const long year = cycle * 4 + yearOfCycle + (monthFromMarch >= 10 ? 1 : 0);
  moment.year = year > 0 ? year : 1 - year;
  moment.month = static_cast<int>(monthFromMarch < 10 ? monthFromMarch + 3 : monthFromMarch - 9);
  moment.day = static_cast<int>(dayOfYear - (153 * monthFromMarch + 2) / 5 + 1);
}

/** The local date and time; nothing when the calendar does not reach that far. */
std::optional<Moment> localMoment(CFAbsoluteTime time) {
  const double seconds = std::floor(((time + kCFAbsoluteTimeIntervalSince1970) * 1000.0 + 0.5) / 1000.0);
  constexpr double kFarthest = 1e15;
  if (!(std::abs(seconds) < kFarthest)) {
    return std::nullopt;
  }
  const auto unixTime = static_cast<time_t>(seconds);
  tm local{};
  if (localtime_r(&unixTime, &local) == nullptr) {
    return std::nullopt;
  }
  Moment moment{local.tm_year + 1900L, local.tm_mon + 1, local.tm_mday,
                local.tm_hour,         local.tm_min,     local.tm_sec};
  const Days localDay(
      std::chrono::floor<std::chrono::days>(std::chrono::seconds(unixTime + local.tm_gmtoff)));
  if (localDay < kGregorianStart) {
    setJulianDate(moment, localDay);
  }
  return moment;
}

struct Field {
  std::u16string_view pattern;
  long value;
};

std::u16string padded(long value, std::size_t width) {
  const std::string digits = std::to_string(value);
  std::u16string text(width > digits.size() ? width - digits.size() : 0, u'0');
  return text.append(digits.begin(), digits.end());
}

bool isLetter(char16_t unit) {
  return (unit >= u'a' && unit <= u'z') || (unit >= u'A' && unit <= u'Z');
}

/** Appends the field of letters that `rest` begins with and takes it off; false for one that is not known. */
bool appendField(std::u16string& text, std::u16string_view& rest, const Moment& moment) {
  const std::array<Field, 6> fields = {{{u"yyyy", moment.year},
                                        {u"MM", moment.month},
                                        {u"dd", moment.day},
                                        {u"HH", moment.hour},
                                        {u"mm", moment.minute},
                                        {u"ss", moment.second}}};
  const std::u16string_view letters = rest.substr(0, rest.find_first_not_of(rest.front()));
  rest.remove_prefix(letters.size());
  for (const Field& field : fields) {
    if (field.pattern == letters) {
      text += padded(field.value, letters.size());
      return true;
    }
  }
  return false;
}

std::optional<std::u16string> format(std::u16string_view rest, const Moment& moment) {
  std::u16string text;
  bool isQuoted = false;
  while (!rest.empty()) {
    if (rest.starts_with(u"''")) {
      text.push_back(u'\'');
      rest.remove_prefix(2);
    } else if (rest.front() == u'\'') {
      isQuoted = !isQuoted;
      rest.remove_prefix(1);
    } else if (isQuoted || !isLetter(rest.front())) {
      text.push_back(rest.front());
      rest.remove_prefix(1);
    } else if (!appendField(text, rest, moment)) {
      return std::nullopt;
    }
  }
  return text;
}

}  // namespace

CFTypeID CFDateFormatterGetTypeID() {
  return kTypeDateFormatter;
}

CFDateFormatterRef CFDateFormatterCreate(CFAllocatorRef /*allocator*/, CFLocaleRef locale,
                                         CFDateFormatterStyle /*dateStyle*/,
                                         CFDateFormatterStyle /*timeStyle*/) {
  if (locale != nullptr) {
    return nullptr;
  }
  tzset();
  return guarded([] { return handOver<CFDateFormatterRef>(Owned<DateFormatter>(new DateFormatter)); });
}

void CFDateFormatterSetFormat(CFDateFormatterRef formatter, CFStringRef format) {
  auto* object = objectCast<DateFormatter>(formatter);
  const auto* pattern = objectCast<String>(format);
  if (object == nullptr || pattern == nullptr || pattern->length() > kLongestFormat) {
    return;
  }
  guarded([&] {
    object->setFormat(utf16Of(format));
    return true;
  });
}

CFStringRef CFDateFormatterCreateStringWithAbsoluteTime(CFAllocatorRef /*allocator*/,
                                                        CFDateFormatterRef formatter, CFAbsoluteTime time) {
  const auto* object = objectCast<DateFormatter>(formatter);
  const auto moment = localMoment(time);
  if (object == nullptr || object->format().empty() || !moment) {
    return nullptr;
  }
  return guarded([&]() -> CFStringRef {
    auto text = format(object->format(), *moment);
    return text ? handOver<CFStringRef>(makeStringUtf16(std::move(*text))) : nullptr;
  });
}
