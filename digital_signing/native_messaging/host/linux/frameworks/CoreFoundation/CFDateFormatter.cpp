#include <time.h>

#include <algorithm>
#include <cmath>
#include <optional>

#include "CoreFoundation/CFObjects.h"
#include "shared/text/LetterCase.h"

using namespace vorn::frameworks;

namespace {

struct DateFormatter final : Object {
  static constexpr CFTypeID kType = kTypeDateFormatter;
  DateFormatter() : Object(kType) {}

  /** Empty until one is set. */
  std::string pattern;
};

/** The local date and time; nothing when the calendar does not reach that far. */
std::optional<tm> localMoment(CFAbsoluteTime time) {
  const double seconds = std::floor(((time + kCFAbsoluteTimeIntervalSince1970) * 1000.0 + 0.5) / 1000.0);
  constexpr double kFarthest = 1e15;
  if (!(std::abs(seconds) < kFarthest)) return std::nullopt;
  const auto unixTime = static_cast<time_t>(seconds);
  tm local{};
  return localtime_r(&unixTime, &local) != nullptr ? std::optional(local) : std::nullopt;
}

/** None when a field of the pattern is not known. */
std::optional<std::string> format(std::string_view pattern, const tm& moment) {
  const struct {
    std::string_view letters;
    long value;
  } kFields[] = {{"yyyy", moment.tm_year + 1900L}, {"MM", moment.tm_mon + 1L}, {"dd", moment.tm_mday},
                 {"HH", moment.tm_hour},           {"mm", moment.tm_min},      {"ss", moment.tm_sec}};
  std::string text;
  for (bool isQuoted = false; !pattern.empty();) {
    const char first = pattern.front();
    const bool isField =
        !isQuoted && vorn::asciiLowerCase(first) >= 'a' && vorn::asciiLowerCase(first) <= 'z';
    const std::string_view taken = pattern.substr(0, isField ? pattern.find_first_not_of(first) : 1);
    pattern.remove_prefix(taken.size());
    if (isField) {
      const auto* const field = std::find_if(std::begin(kFields), std::end(kFields),
                                             [taken](const auto& known) { return known.letters == taken; });
      if (field == std::end(kFields)) return std::nullopt;
      const std::string digits = std::to_string(field->value);
      text.append(taken.size() - std::min(taken.size(), digits.size()), '0').append(digits);
    } else if (first == '\'') {
      isQuoted = !isQuoted;
    } else {
      text += first;
    }
  }
  return text;
}

}  // namespace

CFDateFormatterRef CFDateFormatterCreate(CFAllocatorRef /*allocator*/, CFLocaleRef locale,
                                         CFDateFormatterStyle /*dateStyle*/,
                                         CFDateFormatterStyle /*timeStyle*/) {
  if (locale != nullptr) return nullptr;
  tzset();
  return guarded([] { return handOver<CFDateFormatterRef>(Owned<DateFormatter>(new DateFormatter)); });
}

void CFDateFormatterSetFormat(CFDateFormatterRef formatter, CFStringRef format) {
  auto* object = objectCast<DateFormatter>(formatter);
  guarded([&] {
    if (object != nullptr) object->pattern = utf8Of(format);
    return true;
  });
}

CFStringRef CFDateFormatterCreateStringWithAbsoluteTime(CFAllocatorRef /*allocator*/,
                                                        CFDateFormatterRef formatter, CFAbsoluteTime time) {
  const auto* object = objectCast<DateFormatter>(formatter);
  const auto moment = localMoment(time);
  if (object == nullptr || object->pattern.empty() || !moment) return nullptr;
  return guarded([&]() -> CFStringRef {
    const auto text = format(object->pattern, *moment);
    return text ? handOver<CFStringRef>(makeString(*text)) : nullptr;
  });
}
