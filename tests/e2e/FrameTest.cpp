#include <gtest/gtest.h>

#include <cstdint>
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

std::string partRequest(const std::string& number) {
  return R"({"type": "part", "part": )" + number + "}";
}

TEST(Parts, MakeTheAnswerThatWouldHaveBeenSent) {
  Home home("main");
  HostProcess host(home);
  const std::string limited = R"("max_answer": 100000, "verbose": "ON", )";
  for (SignRequest request :
       {SignRequest{.documents = {{agreement(std::string(2500000, 'x')), "\xe2\x82\xac"}}},
        SignRequest{.algorithm = std::string(300000, '/') + "\xe2\x82\xac", .documents = {{"x"}}}}) {
    const std::string whole = host.ask(request.json());
    request.more = limited;
    const std::string first = host.ask(request.json());
    ASSERT_NE(first.find("\"part\": 1,\n\t\"parts\": "), std::string::npos) << first.substr(0, 200);
    std::vector<std::string> pieces(std::stoul(first.substr(first.find("parts\": ") + 8)));
    for (int round = 0; round < 2; ++round) {
      for (std::size_t number = pieces.size(); number > 0; --number) {
        const std::string part = host.ask(partRequest(std::to_string(number)));
        EXPECT_LE(part.size() + 4, 100000U);
        EXPECT_TRUE(number > 1 || part == first);
        EXPECT_EQ(text(part, "result"), text(whole, "result")) << "of the answer that the part is of";
        pieces[number - 1] = text(part, "text");
      }
    }
    std::string together;
    for (const std::string& piece : pieces) together += piece;
    EXPECT_TRUE(together == whole);
    EXPECT_NE(home.log().find("RequestHandler - Request message = " + request.json().substr(0, 80)),
              std::string::npos)
        << "whoever fetches an answer leaves its log";
  }
  EXPECT_EQ(host.ask(R"({"type": "version", "max_answer": 4096})"), host.ask(kVersionRequest));
  EXPECT_EQ(host.ask(partRequest("2")), errorBody(101, "Unknown part")) << "the answer went with the next";
  EXPECT_EQ(host.waitForExit(), 1);
}

TEST(Parts, AreRefusedWhenThereAreNone) {
  for (const auto& [request, message] : std::vector<std::pair<std::string, std::string>>{
           {R"({"type": "version", "max_answer": 4095})", "Invalid max_answer, less than 4096"},
           {R"({"type": "version", "max_answer": -1e300})", "Invalid max_answer, less than 4096"},
           {R"({"type": "part"})", "Part is missing from the request message"},
           {R"({"type": "part", "part": "1"})", "Part is missing from the request message"},
           {partRequest("1"), "Unknown part"}}) {
    Home home;
    HostProcess host(home);
    EXPECT_NE(host.ask(R"({"type": "version", "max_answer": "4095"})").find("ok"), std::string::npos);
    EXPECT_NE(host.ask(R"({"type": "version", "max_answer": 1e30})").find("ok"), std::string::npos);
    EXPECT_EQ(host.ask(request), errorBody(101, message));
    EXPECT_EQ(host.waitForExit(), 1);
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
