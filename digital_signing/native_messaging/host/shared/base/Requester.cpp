#include "shared/base/Requester.h"

#include <poll.h>

#include <chrono>
#include <optional>

namespace vorn {
namespace {

using Clock = std::chrono::steady_clock;

// Chromium kills a host two seconds after it has closed its input, Firefox three.
constexpr std::chrono::milliseconds kBrowserPatience{1500};

requester::Ends ends;
std::optional<Clock::time_point> endOfInput;

/** Whether the other end is closed; what lies in the pipe does not matter. No descriptor is no news. Linux
 * reports the end of either direction unasked; macOS looks at a reading end for the events of reading alone,
 * at a writing end for those of writing, and at none when none is asked for. */
bool isClosed(int descriptor, short direction) {
  pollfd end{descriptor, direction, 0};
  return poll(&end, 1, 0) > 0 && (end.revents & (POLLHUP | POLLERR)) != 0;
}

}  // namespace

void requester::watch(const Ends& watchedEnds) {
  ends = watchedEnds;
}

const requester::Ends& requester::watched() {
  return ends;
}

bool requester::hasEndedInput() {
  if (!endOfInput && isClosed(ends.input, POLLHUP)) endOfInput = Clock::now();
  return endOfInput.has_value();
}

bool requester::isGone() {
  return isClosed(ends.output, POLLOUT) || (hasEndedInput() && Clock::now() - *endOfInput > kBrowserPatience);
}

void requester::requirePresent() {
  if (isGone()) throw RequesterGoneException();
}

}  // namespace vorn
