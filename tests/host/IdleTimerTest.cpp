#include "shared/base/IdleTimer.h"

#include <gtest/gtest.h>

#include <limits>

using namespace vorn;

namespace {

using std::chrono::milliseconds;

static_assert(IdleTimer::Clock::is_steady, "whatever time of day somebody sets");

TEST(IdleTimer, ExpiresOnlyWhenMoreThanTheTimeoutHasPassedSinceItsStart) {
  constexpr long double kNotANumber = std::numeric_limits<long double>::quiet_NaN();
  for (const auto& [timeout, limit] :
       {std::pair<long double, int>{-5, 3000}, {2999.9L, 3000}, {10000, 10000}}) {
    IdleTimer timer;
    const auto after = [now = IdleTimer::Clock::now()](int time) { return now + milliseconds(time); };
    EXPECT_FALSE(timer.hasExpired(after(1000000000))) << "before the first start";
    timer.start();
    EXPECT_FALSE(timer.hasExpired(after(119000)));
    EXPECT_TRUE(timer.hasExpired(after(121000))) << "unless told otherwise";
    timer.setTimeout(timeout);
    EXPECT_FALSE(timer.hasExpired(after(limit - 100))) << timeout;
    EXPECT_TRUE(timer.hasExpired(after(limit + 100))) << timeout;
    timer.stop();
    EXPECT_FALSE(timer.hasExpired(after(limit + 100)));
    timer.start();
    timer.setTimeout(kNotANumber);
    EXPECT_FALSE(timer.hasExpired(after(1000000000)));
  }
}

}  // namespace
