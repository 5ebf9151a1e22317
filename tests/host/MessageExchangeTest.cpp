#include "shared/messaging/MessageExchange.h"

#include <gtest/gtest.h>
#include <log4cplus/logger.h>

#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "host/TestPlatform.h"
#include "mac/app/Logging.h"
#include "shared/Exceptions.h"
#include "shared/Signing.h"
#include "shared/Version.h"
#include "shared/messaging/IdleTimer.h"

namespace {

enum class Failure { none, host, invalid, stray, notEvenAnException };

/** What the signing side does in these tests. */
Failure scripted = Failure::none;

}  // namespace

namespace signing {

void appendCertificate(const jsonxx::Object&, jsonxx::Object& response) {
  response << "cert_serial"
           << "7";
  switch (scripted) {
    case Failure::none:
      return;
    case Failure::host:
      throw CertificateExpiredException();
    case Failure::invalid:
      throw InvalidArgumentException("told so");
    case Failure::stray:
      throw std::runtime_error("stray");
    case Failure::notEvenAnException:
      throw 5;
  }
}

void appendSignedData(const jsonxx::Array&, SignatureAlgorithm, jsonxx::Object&) {}

}  // namespace signing

namespace {

std::string frame(const std::string& text) {
  const auto length = static_cast<std::uint32_t>(text.size());
  std::string bytes(sizeof length, '\0');
  std::memcpy(bytes.data(), &length, sizeof length);
  return bytes + text;
}

class MessageExchangeTest : public testing::Test {
 protected:
  void SetUp() override { scripted = Failure::none; }

  std::optional<int> deliver(const std::string& bytes) { return exchange_.deliver(bytes); }

  /** The answers so far; fails the test when what was written is not whole frames. */
  std::vector<std::string> answers() {
    std::vector<std::string> texts;
    for (std::size_t at = 0; at < written_.size();) {
      std::uint32_t length = 0;
      std::memcpy(&length, written_.data() + at, sizeof length);
      texts.push_back(written_.substr(at + sizeof length, length));
      EXPECT_EQ(texts.back().size(), length);
      at += sizeof length + length;
    }
    written_.clear();
    return texts;
  }

  static std::string errorText(int code, const std::string& message, const std::string& before = "") {
    return "{\n" + before + "\t\"error_code\": " + std::to_string(code) + ",\n\t\"error_message\": \"" +
           message + "\",\n\t\"result\": \"error\" \n} \n";
  }

  std::string written_;
  bool closed_ = false;
  MessageExchange exchange_{[this](std::string_view bytes) {
    if (closed_) {
      throw OutputClosed();
    }
    written_.append(bytes);
  }};
};

const std::string kVersionText = std::string("\t\"build\": \"") + version::kBuild +
                                 "\",\n\t\"install_location\": \"\\/opt\\/vorn\",\n\t\"major\": \"" +
                                 version::kMajor + "\",\n\t\"minor\": \"" + version::kMinor +
                                 "\",\n"
                                 "\t\"os\": \"Mac OS X version 12.7.6\",\n";

TEST_F(MessageExchangeTest, answersEachRequestOfADeliveryInOrder) {
  EXPECT_EQ(deliver(frame("{\"type\":\"VeRsIoN\"}") + frame("{type") + frame("{\"type\":\"version\"}")), 1);
  const auto texts = answers();
  ASSERT_EQ(texts.size(), 2U) << "nothing is answered after the request that ends the process";
  EXPECT_TRUE(texts[0].starts_with("{\n" + kVersionText)) << texts[0];
  EXPECT_TRUE(texts[0].ends_with(std::string("\t\"release\": \"") + version::kRelease +
                                 "\",\n\t\"result\": \"ok\",\n\t\"version\": \"" + version::kFull +
                                 "\" \n} \n"));
  EXPECT_EQ(texts[1], errorText(101, "Failed to parse request message"));
}

TEST_F(MessageExchangeTest, tellsFailuresOfTheHostFromThoseThatEndIt) {
  const std::string request =
      frame("{\"type\":\"version\",\"user_details\":{\"name\":\"\",\"email\":\"\",\"abn\":\"\",\"aki\":[]}}");
  scripted = Failure::host;
  EXPECT_EQ(deliver(request), std::nullopt);
  const std::string expired = answers().at(0);
  EXPECT_NE(expired.find("\t\"cert_serial\": \"7\",\n\t\"error_code\": 107,\n\t\"error_message\": "
                         "\"Certificate expired\",\n"),
            std::string::npos)
      << expired;
  EXPECT_NE(expired.find("\"result\": \"error\""), std::string::npos);

  const std::pair<Failure, std::string> fatal[] = {
      {Failure::invalid, errorText(101, "told so")},
      {Failure::stray, errorText(100, "stray")},
      {Failure::notEvenAnException, errorText(100, "Unknown failure")},
  };
  for (const auto& [failure, answer] : fatal) {
    scripted = failure;
    EXPECT_EQ(deliver(request), 1);
    EXPECT_EQ(answers(), std::vector<std::string>{answer});
  }
}

TEST_F(MessageExchangeTest, startsTheIdleTimerAfterAnAnswerAlone) {
  IdleTimer& timer = IdleTimer::getInstance();
  const auto expired = [&timer] { return timer.hasExpired(IdleTimer::Clock::now() + std::chrono::hours(1)); };
  timer.stop();
  const std::string bytes = frame("{\"type\":\"version\",\"idle_timeout\":\"5000000000\"}");
  EXPECT_EQ(deliver(bytes.substr(0, 9)), std::nullopt);
  EXPECT_FALSE(expired());
  EXPECT_EQ(deliver(bytes.substr(9)), std::nullopt);
  EXPECT_TRUE(expired()) << "a time-out that is no number is no time-out";
  deliver(frame("{\"type\":\"version\",\"idle_timeout\":5000000000}"));
  EXPECT_FALSE(expired());
  timer.setTimeout(120000);
}

TEST_F(MessageExchangeTest, keepsTheFrameWellFormedAndEndsQuietlyWhenTheReaderHasGone) {
  scripted = Failure::stray;
  testPlatform().installed = "no folder";
  EXPECT_EQ(deliver(frame("{\"type\":\"version\"}")), std::nullopt);
  EXPECT_NE(
      answers().at(0).find("\"error_code\": 100,\n\t\"error_message\": \"Failed to get install location\","),
      std::string::npos);
  testPlatform().installed = "/opt/v\xffrn/vorn-signing";
  EXPECT_EQ(deliver(frame("{\"type\":\"version\"}")), std::nullopt);
  EXPECT_NE(answers().at(0).find("\\/opt\\/v\xEF\xBF\xBDrn\""), std::string::npos);
  testPlatform().installed = "/opt/vorn/vorn-signing";
  closed_ = true;
  EXPECT_EQ(deliver(frame("{\"type\":\"version\"}")), 0);
  EXPECT_EQ(deliver(frame("{")), 0) << "not even the error can be sent";
}

TEST_F(MessageExchangeTest, warnsOfAnAnswerThatBrowsersDrop) {
  const auto file = std::filesystem::path(testing::TempDir()) / "vorn-large-answer.log";
  logging::configure(file.string());
  const auto answerInAFolderNamed = [this](std::size_t length) {
    testPlatform().installed = "/" + std::string(length, 'x') + "/vorn-signing";
    EXPECT_EQ(deliver(frame("{\"type\":\"version\"}")), std::nullopt);
    return answers().at(0).size();
  };
  const auto warned = [&file] {
    std::ifstream log(file);
    const std::string text{std::istreambuf_iterator<char>(log), {}};
    return text.find("WARN  VORNSigning - Response message is larger than browsers accept (1048576 bytes)") !=
           std::string::npos;
  };
  constexpr std::size_t kLimit = 1048576;
  const std::size_t room = kLimit - answerInAFolderNamed(0);
  EXPECT_EQ(answerInAFolderNamed(room), kLimit);
  EXPECT_FALSE(warned());
  EXPECT_EQ(answerInAFolderNamed(room + 1), kLimit + 1) << "it is sent all the same";
  EXPECT_TRUE(warned());
  testPlatform() = {};
  log4cplus::Logger::getRoot().removeAllAppenders();
  std::filesystem::remove(file);
}

}  // namespace
