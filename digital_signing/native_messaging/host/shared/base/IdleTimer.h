#pragma once

#include <chrono>

namespace vorn {

/** Ends a host that nobody talks to. Stopped while a request is read and handled, started again after its
 * answer. One instance lives for the whole process; it is touched by the working thread alone. */
class IdleTimer {
 public:
  using Clock = std::chrono::steady_clock;

  static IdleTimer& getInstance() {
    static auto* const timer = new IdleTimer;  // never destroyed: it may be asked while the process ends
    return *timer;
  }

  void start() {
    start_ = Clock::now();
    stopped_ = false;
  }
  void stop() { stopped_ = true; }
  /** `milliseconds` under 3000 become 3000: a page cannot make the host leave between two of its own
   * requests. */
  void setTimeout(long double milliseconds) {
    constexpr long double kMinimum = 3000;
    timeout_ = kMinimum > milliseconds ? kMinimum : milliseconds;
  }
  /** False while stopped; otherwise whether strictly more than the timeout has passed since `start`. */
  bool hasExpired(Clock::time_point now = Clock::now()) const {
    if (stopped_) return false;
    const auto elapsed = std::chrono::duration_cast<std::chrono::nanoseconds>(now - start_).count();
    return static_cast<float>(elapsed) / 1000000.0 > timeout_;
  }

 private:
  long double timeout_ = 120000;
  Clock::time_point start_;
  bool stopped_ = true;
};

}  // namespace vorn
