#include "host/TestPlatform.h"

#include "shared/base/Platform.h"

using namespace vorn;

TestPlatform& testPlatform() {
  static TestPlatform instance;
  return instance;
}

namespace vorn::platform {

std::string homeFolder() {
  return testPlatform().home;
}
SystemVersion systemVersion() {
  return {12, 7, 6};
}
std::string installedPath() {
  return testPlatform().installed;
}
void openSystemLog() {}
std::string tellSystemLog(int, const std::string&) {
  return "nobody listens in a test";
}

}  // namespace vorn::platform
