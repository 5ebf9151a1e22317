#include "shared/base/IdleTimer.h"

namespace vorn {

IdleTimer& IdleTimer::getInstance() {
  static auto* const timer = new IdleTimer;  // never destroyed: it may be asked while the process ends
  return *timer;
}

void IdleTimer::start() {
  start_ = Clock::now();
  stopped_ = false;
}

void IdleTimer::stop() {
  stopped_ = true;
}

void IdleTimer::setTimeout(long double milliseconds) {
  constexpr long double kMinimum = 3000;
  timeout_ = kMinimum > milliseconds ? kMinimum : milliseconds;
}

bool IdleTimer::hasExpired(Clock::time_point now) const {
  if (stopped_) return false;
  const auto elapsed = std::chrono::duration_cast<std::chrono::nanoseconds>(now - start_).count();
  return static_cast<float>(elapsed) / 1000000.0 > timeout_;
}

}  // namespace vorn
