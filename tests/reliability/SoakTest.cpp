#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <iostream>

#include "e2e/HostProcess.h"
#include "e2e/Messages.h"
#include "reliability/LeakCheck.h"

namespace reliability {
namespace {

using namespace e2e;

/** VORN_SOAK sets another number of requests: 10000 for a whole soak. */
int soakRequests() {
#if defined(__SANITIZE_ADDRESS__)
  constexpr int kUsual = 100;
#else
  constexpr int kUsual = 1000;
#endif
  const char* wanted = std::getenv("VORN_SOAK");
  return wanted != nullptr ? std::atoi(wanted) : kUsual;
}

/** Every tenth request signs; the others ask for the version, for certificates of users who are there or not,
 * or are refused. Memory may not grow after the first tenth of them. */
TEST(Soak, MemoryStaysFlat) {
  const int requests = soakRequests();
  Home home("main");
  HostProcess host(home, leakChecked(home));
  const SignRequest good{.documents = {{agreement()}, {agreement(std::string(10000, 'x'))}}};
  const SignRequest other{.name = "Max Several", .algorithm = "RSA_SHA512", .documents = {{agreement()}}};
  const std::pair<std::string, int> mix[] = {
      {good.json(), 0},
      {kVersionRequest, 0},
      {other.versionJson(), 0},
      {good.versionJson(), 0},
      {SignRequest{.name = "Nobody", .documents = {{agreement()}}}.json(), 102},
      {SignRequest{.documents = {{"<a>"}}}.json(), 103},
      {other.json(), 0},
      {SignRequest{.documents = {{agreement("<!-- -->") + "<a/>"}}}.json(), 103},
      {SignRequest{.algorithm = "none", .documents = {{""}}}.json(), 108},
      {R"({"type": "version", "x": [[[{"a": [1, "b"]}]]], "verbose": "ON"})", 0},
  };
  long settled = 0;
  for (int i = 0; i < requests; ++i) {
    const auto& [request, code] = mix[static_cast<std::size_t>(i) % std::size(mix)];
    const std::string answer = host.ask(request);
    ASSERT_EQ(errorCode(answer), code) << "request " << i << ": " << answer;
    if (i == requests / 10) settled = host.residentKiB();
  }
  const long end = host.residentKiB();
  std::cout << requests << " requests: from " << settled << " to " << end << " KiB\n";
#if !defined(__SANITIZE_ADDRESS__)  // which keeps freed memory for a while
  EXPECT_LT(end, settled + 2048);
#endif
  EXPECT_LT(std::filesystem::file_size(home.logPath()), 600000U);
  host.closeInput();
  EXPECT_EQ(host.waitForExit(), 0);
}

}  // namespace
}  // namespace reliability
