#include "mac/app/HarmlessLayout.h"

#include <log4cplus/spi/loggingevent.h>

#include <atomic>
#include <string>

#include "shared/text/HarmlessText.h"
#include "shared/text/Utf8.h"

namespace vorn {

namespace {

// So much of a message is kept when the budget is used up.
constexpr std::size_t kBeginning = 1000;

std::atomic<std::size_t> left = HarmlessLayout::kBudget;

/** The message as far as the budget lasts, which it is charged to; `size` bytes are what it takes in full. */
bool isWithinBudget(std::size_t size) {
  std::size_t before = left;
  while (size <= before)
    if (left.compare_exchange_weak(before, before - size)) return true;
  return false;
}

std::string beginningOf(const std::string& message) {
  return std::string(cutUtf8(message, kBeginning)) + "... (" + std::to_string(message.size()) +
         " bytes, too much for one request's log)";
}

}  // namespace

void HarmlessLayout::renewBudget() {
  left = kBudget;
}

void HarmlessLayout::formatAndAppend(log4cplus::tostream& output,
                                     const log4cplus::spi::InternalLoggingEvent& event) {
  const std::string& message = event.getMessage();
  const bool isShort = message.size() <= kBeginning;
  const bool isPlain = isHarmless(message);
  if (isPlain && (isShort || isWithinBudget(message.size()))) {
    PatternLayout::formatAndAppend(output, event);
    return;
  }
  std::string text = isPlain ? beginningOf(message) : harmlessText(message);
  if (!isPlain && !isShort && !isWithinBudget(text.size())) text = beginningOf(text);
  const log4cplus::spi::InternalLoggingEvent told(
      event.getLoggerName(), event.getLogLevel(), event.getNDC(), event.getMDCCopy(), text, event.getThread(),
      event.getThread2(), event.getTimestamp(), event.getFile(), event.getLine(), event.getFunction());
  PatternLayout::formatAndAppend(output, told);
}

}  // namespace vorn
