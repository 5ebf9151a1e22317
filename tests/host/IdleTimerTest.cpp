#include "shared/messaging/IdleTimer.h"

#include <gtest/gtest.h>

#include <limits>

namespace {

using std::chrono::milliseconds;

IdleTimer started() {
  IdleTimer timer;
  timer.start();
  return timer;
}

TEST(IdleTimer, expiresOnlyWhenStrictlyMoreThanTheTimeoutHasPassedSinceItsStart) {
  struct Case {
    long double timeout;
    milliseconds notYet;
    milliseconds expired;
  };
  const Case cases[] = {
      {0, milliseconds(2900), milliseconds(3100)},
      {-5, milliseconds(2900), milliseconds(3100)},
      {2999.9L, milliseconds(2900), milliseconds(3100)},
      {10000, milliseconds(9900), milliseconds(10100)},
  };
  for (const Case& c : cases) {
    IdleTimer timer = started();
    const auto now = IdleTimer::Clock::now();
    timer.setTimeout(c.timeout);
    EXPECT_FALSE(timer.hasExpired(now + c.notYet)) << c.timeout;
    EXPECT_TRUE(timer.hasExpired(now + c.expired)) << c.timeout;
  }
}

TEST(IdleTimer, waitsTwoMinutesUnlessToldOtherwise) {
  const IdleTimer timer = started();
  EXPECT_FALSE(timer.hasExpired(IdleTimer::Clock::now() + milliseconds(119000)));
  EXPECT_TRUE(timer.hasExpired(IdleTimer::Clock::now() + milliseconds(121000)));
}

TEST(IdleTimer, doesNotHeedTheClockOnTheWall) {
  // Such a clock goes on by itself, whatever time of day somebody sets.
  EXPECT_TRUE(IdleTimer::Clock::is_steady);
}

TEST(IdleTimer, neverExpiresWhileStoppedOrWithoutANumber) {
  const auto muchLater = IdleTimer::Clock::now() + std::chrono::hours(1000);
  IdleTimer timer;
  EXPECT_FALSE(timer.hasExpired(muchLater)) << "before the first start";
  timer.start();
  EXPECT_TRUE(timer.hasExpired(muchLater));
  timer.stop();
  EXPECT_FALSE(timer.hasExpired(muchLater));
  timer.start();
  timer.setTimeout(std::numeric_limits<long double>::quiet_NaN());
  EXPECT_FALSE(timer.hasExpired(muchLater));
}

}  // namespace
