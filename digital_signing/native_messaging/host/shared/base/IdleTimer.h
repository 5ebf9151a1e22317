#pragma once

#include <chrono>

namespace vorn {

/**
 * Ends a host that nobody talks to. Stopped while a request is read and handled, started again after its
 * answer. One instance lives for the whole process; it is touched by the working thread alone.
 */
class IdleTimer {
 public:
  using Clock = std::chrono::steady_clock;

  static IdleTimer& getInstance();

  void start();
  void stop();
  /**
   * `milliseconds` under 3000 become 3000: a page cannot make the host leave between two of its own requests.
   */
  void setTimeout(long double milliseconds);
  /** False while stopped; otherwise whether strictly more than the timeout has passed since `start`. */
  bool hasExpired(Clock::time_point now = Clock::now()) const;

 private:
  long double timeout_ = 120000;
  Clock::time_point start_;
  bool stopped_ = true;
};

}  // namespace vorn
