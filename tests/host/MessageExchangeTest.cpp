#include "shared/messaging/MessageExchange.h"

#include <gtest/gtest.h>
#include <log4cplus/logger.h>

#include <cstdint>
#include <cstring>
#include <filesystem>
#include <functional>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "Bytes.h"
#include "host/TestPlatform.h"
#include "shared/base/Exceptions.h"
#include "shared/base/IdleTimer.h"
#include "shared/base/Logging.h"
#include "shared/base/Signing.h"
#include "shared/base/Version.h"

using namespace vorn;

namespace {

/** What the signing side does in these tests. */
std::function<void()> scripted;

}  // namespace

namespace vorn::signing {

void selectCertificate(const jsonxx::Object&, jsonxx::Object& response) {
  response << "cert_serial"
           << "7";
  scripted();
}

void signDocuments(const jsonxx::Array&, SignatureAlgorithm, jsonxx::Object&) {}

}  // namespace vorn::signing

namespace {

using tests::frame;

const std::string kAboutAnIdentity =
    R"({"type":"version","user_details":{"name":"","email":"","abn":"","aki":[]}})";

class MessageExchangeTest : public testing::Test {
 protected:
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

  static std::string errorText(int code, const std::string& message) {
    return "{\n\t\"error_code\": " + std::to_string(code) + ",\n\t\"error_message\": \"" + message +
           "\",\n\t\"result\": \"error\" \n} \n";
  }

  std::string written_;
  bool closed_ = false;
  MessageExchange exchange_{[this](std::string_view bytes) {
    if (closed_) throw OutputClosedException();
    written_.append(bytes);
  }};
};

TEST_F(MessageExchangeTest, TellsFailuresOfTheHostFromThoseThatEndIt) {
  const std::string request = frame(kAboutAnIdentity);
  scripted = [] { throw CertificateExpiredException(); };
  EXPECT_EQ(deliver(request), std::nullopt);
  const std::string expired = answers().at(0);
  EXPECT_NE(expired.find("\t\"cert_serial\": \"7\",\n\t\"error_code\": 107,\n\t\"error_message\": "
                         "\"Certificate expired\",\n"),
            std::string::npos)
      << expired;
  EXPECT_NE(expired.find("\"result\": \"error\""), std::string::npos);

  const std::pair<std::function<void()>, std::string> fatal[] = {
      {[] { throw InvalidArgumentException("told so"); }, errorText(101, "told so")},
      {[] { throw std::runtime_error("stray"); }, errorText(100, "stray")},
      {[] { throw 5; }, errorText(100, "Unknown failure")},
  };
  for (const auto& [failure, answer] : fatal) {
    scripted = failure;
    EXPECT_EQ(deliver(request), 1);
    EXPECT_EQ(answers(), std::vector<std::string>{answer});
  }
}

TEST_F(MessageExchangeTest, KeepsTheFrameWellFormedAndEndsQuietlyWhenTheReaderHasGone) {
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

TEST_F(MessageExchangeTest, WarnsOfAnAnswerThatBrowsersDrop) {
  const auto file = std::filesystem::path(testing::TempDir()) / "vorn-large-answer.log";
  logging::configure(file.string());
  const auto answerInAFolderNamed = [this](std::size_t length) {
    testPlatform().installed = "/" + std::string(length, 'x') + "/vorn-signing";
    EXPECT_EQ(deliver(frame("{\"type\":\"version\"}")), std::nullopt);
    return answers().at(0).size();
  };
  const auto warned = [&file] {
    return tests::readFile(file).find(
               "WARN  VORNSigning - Response message is larger than browsers accept (1048576 bytes)") !=
           std::string::npos;
  };
  constexpr std::size_t kLimit = 1048576;
  const std::size_t room = kLimit - answerInAFolderNamed(0);
  EXPECT_EQ(answerInAFolderNamed(room), kLimit);
  EXPECT_FALSE(warned());
  EXPECT_EQ(answerInAFolderNamed(room + 1), kLimit + 1) << "it is sent all the same";
  EXPECT_TRUE(warned());
  scripted = [] {};
  testPlatform().installed = "/" + std::string(kLongestAnswer, 'x') + "/vorn-signing";
  EXPECT_EQ(deliver(frame(kAboutAnIdentity)), std::nullopt);
  EXPECT_EQ(answers().at(0),
            "{\n\t\"cert_serial\": \"7\"," + errorText(100, "Response message is too long").substr(1))
      << "an error like any other";
  testPlatform() = {};
  log4cplus::Logger::getRoot().removeAllAppenders();
  std::filesystem::remove(file);
}

}  // namespace
