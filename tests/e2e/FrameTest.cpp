#include <gtest/gtest.h>

#include <thread>

#include "e2e/HostProcess.h"
#include "e2e/Messages.h"

namespace e2e {
namespace {

using namespace std::chrono_literals;

constexpr std::size_t kLargestRequest = 10485760;

/** A request that is answered with an error of its own, which leaves the host alive. */
std::string numberedRequest(int number) {
  return SignRequest{.algorithm = std::to_string(number), .documents = {{"x"}}}.json();
}

std::string numberedAnswer(int number) {
  return errorBody(108, "Unrecognised signature algorithm: " + std::to_string(number));
}

TEST(Frames, LargestRequestIsAnswered) {
  Home home;
  HostProcess host(home);
  std::string request = kVersionRequest;
  request.insert(1, kLargestRequest - request.size(), ' ');
  const std::string small = host.ask(kVersionRequest);
  EXPECT_EQ(host.ask(request), small);
  EXPECT_EQ(host.ask(kVersionRequest), small);
}

TEST(Frames, AnswerIsWholeOnAPipeThatDoesNotBlock) {
  Home home("main");
  HostProcess host(home, {.nonBlocking = true});
  host.send(SignRequest{.documents = {{agreement(std::string(500000, 'x'))}}}.json());
  std::this_thread::sleep_for(300ms);  // the pipe is full by now
  EXPECT_EQ(text(host.read(), "result"), "ok");
  EXPECT_EQ(text(host.ask(kVersionRequest), "result"), "ok");
}

/** Nobody's stray output may reach the browser. */
TEST(Frames, PipesAreTheProtocolsAlone) {
  Home home;
  for (const bool standardErrorIsClosed : {false, true}) {
    HostProcess host(home, {.standardErrorIsClosed = standardErrorIsClosed});
    EXPECT_EQ(text(host.ask(kVersionRequest), "result"), "ok");
    const std::string folder = "/proc/" + std::to_string(host.id()) + "/fd/";
    const auto at = [&](const char* descriptor) {
      return std::filesystem::read_symlink(folder + descriptor);
    };
    EXPECT_EQ(at("0"), "/dev/null");
    EXPECT_EQ(at("1"), at("2"));
    EXPECT_EQ(at("2"), standardErrorIsClosed ? "/dev/null" : home.path() / "standard-error");
  }
}

TEST(Frames, NothingIsAnsweredAfterAFatalFrame) {
  const auto refusal = [](std::uint32_t length) {
    return std::pair{std::string(reinterpret_cast<const char*>(&length), sizeof length),
                     "Invalid request message length " + std::to_string(length)};
  };
  for (const auto& [bytes, message] :
       {refusal(kLargestRequest + 1), refusal(0x20202020U), refusal(0xffffffffU),
        std::pair{frame("") + frame(kVersionRequest), std::string("Failed to parse request message")}}) {
    Home home;
    HostProcess host(home);
    host.write(frame(numberedRequest(1)) + bytes);
    EXPECT_EQ(host.read(), numberedAnswer(1));
    EXPECT_EQ(host.read(), errorBody(101, message));
    EXPECT_EQ(host.readToEnd(), "");
    EXPECT_EQ(host.waitForExit(), 1);
  }
}

TEST(Frames, EndOfInputEndsTheHostWithoutAWord) {
  const std::string whole = frame(kVersionRequest);
  for (const std::size_t length : {std::size_t{0}, std::size_t{2}, std::size_t{4}, whole.size() - 1}) {
    Home home;
    HostProcess host(home);
    if (length != 0) host.ask(kVersionRequest);
    host.write(whole.substr(0, length));
    host.closeInput();
    EXPECT_EQ(host.readToEnd(), "") << length << " bytes of the last frame";
    EXPECT_EQ(host.waitForExit(), 0);
  }
}

/** Everything about the idle time in one stretch of waiting. */
TEST(IdleTime, EndsTheHostUnlessARequestIsUnderWay) {
  Home homes[4];
  HostProcess least(homes[0]);
  HostProcess longer(homes[1]);
  HostProcess ignored(homes[2]);
  HostProcess underWay(homes[3]);
  const auto start = std::chrono::steady_clock::now();
  least.ask(R"({"type": "version", "idle_timeout": 0})");
  longer.ask(R"({"type": "version", "idle_timeout": 4500})");
  ignored.ask(R"({"type": "version", "idle_timeout": "0"})");
  const std::string version = underWay.ask(R"({"type": "version", "idle_timeout": -1e9})");
  const std::string whole = frame(kVersionRequest);
  underWay.write(whole.substr(0, 9));

  EXPECT_EQ(least.waitForExit(), 0);
  EXPECT_GT(std::chrono::steady_clock::now() - start, 3s);
  EXPECT_TRUE(longer.isRunning());
  EXPECT_EQ(longer.waitForExit(), 0);
  EXPECT_GT(std::chrono::steady_clock::now() - start, 4500ms);
  EXPECT_EQ(longer.readToEnd(), "");
  EXPECT_NE(homes[1].log().find("Executable removed"), std::string::npos);

  EXPECT_TRUE(ignored.isRunning());
  EXPECT_TRUE(underWay.isRunning());
  underWay.write(whole.substr(9));
  EXPECT_EQ(underWay.read(), version);
  EXPECT_EQ(underWay.waitForExit(), 0);
}

}  // namespace
}  // namespace e2e
