#include <filesystem>
#include <regex>

#include <gtest/gtest.h>
#include <sys/utsname.h>

#include "e2e/HostProcess.h"
#include "e2e/Messages.h"
#include "shared/base/Version.h"

namespace e2e {
namespace {

/** The version answer of this machine, with more members before or after the common ones. */
std::string versionBody() {
  utsname names{};
  uname(&names);
  const std::string release = names.release;
  std::smatch numbers;
  if (!std::regex_search(release, numbers, std::regex(R"(^\d+\.\d+\.\d+)")))
    throw std::runtime_error("an odd release: " + release);
  return answerBody({{"build", vorn::version::kBuild},
                     {"install_location", std::filesystem::path(hostProgram()).parent_path().string()},
                     {"major", vorn::version::kMajor},
                     {"minor", vorn::version::kMinor},
                     {"os", "Mac OS X version " + numbers.str()},
                     {"os_type", names.machine},
                     {"release", vorn::version::kRelease},
                     {"result", "ok"},
                     {"version", vorn::version::kFull}});
}

TEST(Version, IsAnsweredWithEveryMember) {
  Home home;
  HostProcess host(home);
  for (const char* request :
       {R"({"type": "version"})", R"({"type":"VeRsIoN"})", "\n{'type':'version',} trailing",
        R"({"type": "version", "user_details": "none", "verbose": 1, "idle_timeout": "x"})"})
    EXPECT_EQ(host.ask(request), versionBody()) << request;
}

TEST(Version, IsAnsweredWithoutAHome) {
  for (const char* folder : {"/nonexistent/home", "/dev/null", "/proc"}) {
    Home home;
    HostProcess host(home, {.homeFolder = folder});
    EXPECT_EQ(host.ask(kVersionRequest), versionBody()) << folder;
    EXPECT_EQ(errorCode(host.ask(SignRequest{.documents = {{agreement()}}}.json())), 102) << folder;
    host.closeInput();
    EXPECT_EQ(host.waitForExit(), 0);
    EXPECT_FALSE(std::filesystem::exists("/nonexistent"));
  }
}

TEST(Version, CarriesTheCertificateOfTheUserNamed) {
  Home home("main");
  HostProcess host(home, {.environment = {"TZ=UTC0"}});
  const std::string answer = host.ask(SignRequest{}.versionJson());
  EXPECT_EQ(text(answer, "cert_expiry"), "2049-06-30T14:00:00.000Z");
  EXPECT_EQ(text(answer, "cert_issuer"), "Test Authority");
  EXPECT_EQ(text(answer, "cert_serial"), "1920354224474384430");
  EXPECT_EQ(text(answer, "version"), vorn::version::kFull);
  EXPECT_EQ(text(answer, "result"), "ok");

  const std::string refusal = host.ask(SignRequest{.name = "Nobody"}.versionJson());
  EXPECT_EQ(errorCode(refusal), 102);
  EXPECT_EQ(text(refusal, "version"), vorn::version::kFull);
  EXPECT_EQ(text(refusal, "result"), "error");
  EXPECT_TRUE(texts(refusal, "cert_serial").empty());
}

/** A request without any criteria is taken for a repeat of the selection that was never made. */
TEST(Version, EmptyCriteriaMeetTheEmptySelection) {
  Home home("main");
  HostProcess host(home);
  const std::string answer =
      host.ask(R"({"type":"version","user_details":{"name":"","email":"","abn":"","aki":[]}})");
  EXPECT_EQ(errorCode(answer), 107);
  for (const char* key : {"cert_expiry", "cert_issuer", "cert_serial"}) EXPECT_EQ(text(answer, key), "");
}

}  // namespace
}  // namespace e2e
