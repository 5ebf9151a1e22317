#include <time.h>

#include <cmath>
#include <optional>

#include "CoreFoundation/CFObjects.h"

using namespace vorn::frameworks;

namespace {

class DateFormatter final : public Object {
 public:
  static constexpr CFTypeID kType = kTypeDateFormatter;
  DateFormatter() : Object(kType) {}

  void setFormat(std::string format) { format_ = std::move(format); }
  /** Empty until a format is set. */
  const std::string& format() const { return format_; }

 private:
  std::string format_;
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

std::string padded(long value, std::size_t width) {
  const std::string digits = std::to_string(value);
  return std::string(width > digits.size() ? width - digits.size() : 0, '0') + digits;
}

bool isLetter(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}

/** Appends the field of letters that `rest` begins with and takes it off; false for one that is not known. */
bool appendField(std::string& text, std::string_view& rest, const tm& moment) {
  const struct {
    std::string_view pattern;
    long value;
  } kFields[] = {{"yyyy", moment.tm_year + 1900L}, {"MM", moment.tm_mon + 1L}, {"dd", moment.tm_mday},
                 {"HH", moment.tm_hour},           {"mm", moment.tm_min},      {"ss", moment.tm_sec}};
  const std::string_view letters = rest.substr(0, rest.find_first_not_of(rest.front()));
  rest.remove_prefix(letters.size());
  for (const auto& field : kFields) {
    if (field.pattern == letters) {
      text += padded(field.value, letters.size());
      return true;
    }
  }
  return false;
}

std::optional<std::string> format(std::string_view rest, const tm& moment) {
  std::string text;
  bool isQuoted = false;
  while (!rest.empty()) {
    if (!isQuoted && isLetter(rest.front())) {
      if (!appendField(text, rest, moment)) return std::nullopt;
      continue;
    }
    if (rest.front() == '\'')
      isQuoted = !isQuoted;
    else
      text.push_back(rest.front());
    rest.remove_prefix(1);
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
    if (object != nullptr) object->setFormat(std::string(utf8Of(format)));
    return true;
  });
}

CFStringRef CFDateFormatterCreateStringWithAbsoluteTime(CFAllocatorRef /*allocator*/,
                                                        CFDateFormatterRef formatter, CFAbsoluteTime time) {
  const auto* object = objectCast<DateFormatter>(formatter);
  const auto moment = localMoment(time);
  if (object == nullptr || object->format().empty() || !moment) return nullptr;
  return guarded([&]() -> CFStringRef {
    const auto text = format(object->format(), *moment);
    return text ? handOver<CFStringRef>(makeString(*text)) : nullptr;
  });
}
