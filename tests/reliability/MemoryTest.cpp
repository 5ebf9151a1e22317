#include <gtest/gtest.h>

#include <filesystem>
#include <system_error>

#include "e2e/HostProcess.h"
#include "e2e/Messages.h"
#include "reliability/HostileBodies.h"

/** A host whose address space ends somewhere: before it has started, in the midst of a request, or behind it.
 */
namespace reliability {
namespace {

using namespace e2e;

constexpr std::size_t kMebibyte = std::size_t{1} << 20;

struct Ending {
  std::string answer;
  int status;
  bool hasStarted;
};

Ending runWithin(std::size_t bytes, const Home& home, const std::string& framed) {
  HostProcess host(home, {.addressSpaceKiB = bytes >> 10});
  try {
    host.write(framed);
  } catch (const std::system_error&) {
    // it has ended before it has read all
  }
  host.closeInput();
  const std::string answer = host.readToEnd();
  const int status = host.waitForExit();
  const bool isLoaded =
      host.standardError().find("error while loading shared libraries") == std::string::npos;
  std::filesystem::remove(home.path() / "standard-error");
  return {answer, status, isLoaded};
}

/** Sweeps down to up; what is well once has to be so with more. */
void sweep(const std::string& request, std::size_t most) {
  const Home home("main");
  const std::string framed = frame(request);
  int failures = 0;
  bool isWell = false;
  // Finely from where the host starts at all.
  for (std::size_t limit = kMebibyte; limit <= most; limit += (limit < 38 * kMebibyte ? 12 : 3) * kMebibyte) {
    SCOPED_TRACE(limit >> 20);
    const Ending end = runWithin(limit, home, framed);
    if (!end.hasStarted) {
      EXPECT_EQ(end.status, 127);
      EXPECT_EQ(end.answer, "");
      continue;
    }
    EXPECT_TRUE(end.status == 0 || end.status == 1) << end.status;
    if (end.answer.empty()) {
      EXPECT_EQ(end.status, 1);
      EXPECT_LT(limit, 64 * kMebibyte) << "there is room for the libraries: it has to answer";
      continue;
    }
    const std::string text = end.answer.substr(4);
    EXPECT_EQ(end.answer, frame(text)) << "one whole frame";
    isWell = errorCode(text) == 0;
    if (isWell) {
      EXPECT_EQ(end.status, 0);
    } else {
      EXPECT_EQ(errorCode(text), 100) << text;
      ++failures;
    }
  }
  EXPECT_TRUE(isWell) << "the range ends too early";
  EXPECT_GT(failures, 2) << "the body is too small";
}

std::string holding(const std::string& value) {
  return R"({"type": "version", "x": )" + value + "}";
}

TEST(Memory, RunsOutOverNestedJson) {
  sweep(holding("[" + fill("[1],", kMebibyte / 2) + "1]"), 90 * kMebibyte);
  sweep(holding(std::string(kMebibyte / 4, '[') + std::string(kMebibyte / 4, ']')), 100 * kMebibyte);
}

TEST(Memory, RunsOutOverFlatJson) {
  sweep(holding("[" + fill("1,", kMebibyte / 2) + "1]"), 90 * kMebibyte);
}

TEST(Memory, RunsOutOverALargeDocument) {
  sweep(SignRequest{.documents = {{harmlessXml(kMebibyte)}}}.json(), 170 * kMebibyte);
}

}  // namespace
}  // namespace reliability
