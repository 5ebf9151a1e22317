#include "shared/base/Logging.h"

#include <gtest/gtest.h>
#include <log4cplus/logger.h>
#include <log4cplus/loggingmacros.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <regex>
#include <string>

#include "Bytes.h"
#include "host/TestPlatform.h"

using namespace vorn;

namespace {

namespace fs = std::filesystem;

class Logging : public testing::Test {
 protected:
  void SetUp() override {
    unsetenv("VORN_VERBOSE_LOGGING");
    home_ = fs::path(testing::TempDir()) /
            (std::string("vorn-") + testing::UnitTest::GetInstance()->current_test_info()->name());
    fs::remove_all(home_);
    fs::create_directory(home_);
    testPlatform().home = home_.string();
  }
  void TearDown() override {
    testPlatform().home.clear();
    log4cplus::Logger::getRoot().removeAllAppenders();
    fs::remove_all(home_);
  }

  fs::path file() const { return home_ / "vorn-signing.log"; }
  std::string text() const { return tests::readFile(file()); }
  void log(const char* message) {
    LOG4CPLUS_DEBUG(logger_, "debug " << message);
    LOG4CPLUS_INFO(logger_, "info " << message);
  }

  fs::path home_;
  log4cplus::Logger logger_ = log4cplus::Logger::getInstance("VORNSigning");
};

TEST_F(Logging, IsVerboseForTheExactWordAlone) {
  struct Case {
    const char* request;
    const char* environment;
    bool debug;
  };
  const Case cases[] = {{"ON", nullptr, true}, {"ON", "OFF", true},  {"on", "ON", false},
                        {"OFF", "ON", false},  {"ON ", "ON", false}, {"", "ON", true},
                        {"", "on", false},     {"", "", false},      {"", nullptr, false}};
  logging::setUp();
  for (const Case& c : cases) {
    if (c.environment != nullptr)
      setenv("VORN_VERBOSE_LOGGING", c.environment, 1);
    else
      unsetenv("VORN_VERBOSE_LOGGING");
    logging::setVerbose(c.request);
    EXPECT_EQ(log4cplus::Logger::getRoot().getLogLevel(),
              c.debug ? log4cplus::DEBUG_LOG_LEVEL : log4cplus::INFO_LOG_LEVEL)
        << c.request << " with " << (c.environment != nullptr ? c.environment : "nothing");
  }
}

TEST_F(Logging, StartsAFileAgainThatHasOutgrownItsLimitOrIsGone) {
  struct Case {
    const char* verbose;
    std::size_t size;
    bool kept;
  };
  for (const Case& c : {Case{"", 12600, true}, Case{"", 12601, false}, Case{"ON", 12601, true},
                        Case{"ON", 549000, true}, Case{"ON", 549001, false}}) {
    std::ofstream(file(), std::ios::trunc) << std::string(c.size, 'x');
    logging::setUp();
    logging::setVerbose(c.verbose);
    log("after");
    EXPECT_EQ(text().starts_with("xxx"), c.kept) << c.size;
    const std::size_t found = text().find("info after\n");
    EXPECT_NE(found, std::string::npos) << c.size;
    EXPECT_EQ(found, text().rfind("info after\n")) << "each set-up adds a line";
    EXPECT_EQ(fs::status(file()).permissions(), fs::perms(0600));
  }
  // Another host begins it anew, or somebody does away with it, at any time.
  for (const bool another : {true, false}) {
    fs::remove(file());
    if (another) std::ofstream(file()) << "";
    log("anew");
    EXPECT_NE(text().find("info anew\n"), std::string::npos) << another;
    EXPECT_EQ(fs::status(file()).permissions(), fs::perms(0600));
  }
  logging::setVerbose("ON");
  for (const auto& [size, kept] :
       {std::pair{std::uintmax_t{90} << 20, true}, {std::uintmax_t{97} << 20, false}}) {
    fs::resize_file(file(), size);
    logging::carryOn();
    EXPECT_EQ(fs::file_size(file()) == size, kept) << size;
    log("of a part");
    EXPECT_NE(text().find("debug of a part\n"), std::string::npos) << "the level stays";
  }
}

TEST_F(Logging, BoundsWhatEachRequestLogsInFull) {
  logging::setUp();
  const std::string message(std::size_t{20} << 20, 'x');
  for (int request = 0; request < 2; ++request) {
    fs::remove(file());
    logging::setVerbose("ON");
    for (int record = 0; record < 3; ++record) LOG4CPLUS_DEBUG(logger_, message);
    EXPECT_EQ(fs::file_size(file()) >> 20, 40U) << "two of three, in the request " << request;
  }
}

TEST_F(Logging, BeginsALineAnewWhereTheLastOneFoundNoRoom) {
  logging::setUp();
  log("before");
  std::signal(SIGXFSZ, SIG_IGN);
  rlimit former{};
  getrlimit(RLIMIT_FSIZE, &former);
  const rlimit tight{fs::file_size(file()) + 10, former.rlim_max};
  setrlimit(RLIMIT_FSIZE, &tight);
  log("half");
  setrlimit(RLIMIT_FSIZE, &former);
  log("after");
  EXPECT_TRUE(std::regex_search(text(), std::regex("info before\n.{10}\n[^\n]* info after\n$"))) << text();
}

TEST_F(Logging, NeverWaitsForOrFailsOnWhatCannotBeWritten) {
  testPlatform().home = (home_ / "missing").string();
  logging::setUp();
  logging::setVerbose("ON");
  log("nowhere");
  testPlatform().home = home_.string();
  ASSERT_EQ(mkfifo(file().c_str(), 0600), 0);
  logging::setUp();
  log("into a pipe that nobody reads");
  EXPECT_TRUE(fs::is_fifo(file()));
  testPlatform().home.clear();
  logging::setUp();
  logging::setVerbose("");
}

TEST_F(Logging, LeavesAloneWhatALinkLeadsTo) {
  const fs::path target = home_ / "somebody's";
  for (const bool symbolic : {true, false}) {
    std::ofstream(target) << std::string(600000, 'x');
    fs::permissions(target, fs::perms(0644));
    symbolic ? fs::create_symlink(target, file()) : fs::create_hard_link(target, file());
    logging::setUp();
    log("through a link");
    logging::setVerbose("ON");
    EXPECT_TRUE(fs::exists(fs::symlink_status(file())) && fs::equivalent(file(), target))
        << symbolic << ": too long, and yet not the log";
    EXPECT_EQ(fs::file_size(target), 600000U) << symbolic;
    EXPECT_EQ(fs::status(target).permissions(), fs::perms(0644)) << symbolic;
    fs::remove(file());
  }
}

}  // namespace
