#include "CoreFoundation/CFDate.h"

#include <chrono>

const CFTimeInterval kCFAbsoluteTimeIntervalSince1970 = 978307200.0;

CFAbsoluteTime CFAbsoluteTimeGetCurrent() {
  const auto now = std::chrono::system_clock::now().time_since_epoch();
  return std::chrono::duration<CFTimeInterval>(now).count() - kCFAbsoluteTimeIntervalSince1970;
}
