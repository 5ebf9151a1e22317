#include <regex>

#include <gtest/gtest.h>
#include <sys/stat.h>

#include "e2e/HostProcess.h"
#include "e2e/Messages.h"

namespace e2e {
namespace {

bool holds(const std::string& log, const std::string& text) {
  return log.find(text) != std::string::npos;
}

mode_t modeOf(const std::filesystem::path& path) {
  struct stat status {};
  return stat(path.c_str(), &status) == 0 ? status.st_mode & 07777U : 0;
}

TEST(Log, TellsTheLifeOfTheHostLineByLine) {
  Home home;
  HostProcess host(home, {.arguments = {"chrome-extension://abcdefgh/", "--parent-window=0"}});
  const std::string answer = host.ask(kVersionRequest);
  host.closeInput();
  ASSERT_EQ(host.waitForExit(), 0);
  EXPECT_EQ(modeOf(home.logPath()), 0600U);

  const std::regex layout(
      R"(\d\d-\d\d-\d{4} \d\d:\d\d:\d\d\.\d{3} \[\d+\] (INFO |WARN |ERROR) (VORNSigning|RequestHandler) - .+)");
  std::vector<std::string> expected = {
      "INFO  VORNSigning - Executable launched",
      "INFO  VORNSigning - Request message length = 19",
      "INFO  RequestHandler - Request type = version",
      "INFO  VORNSigning - Sending response message",
      "INFO  VORNSigning - Response message length = " + std::to_string(answer.size()),
      "INFO  VORNSigning - Response message sent",
      "INFO  VORNSigning - Executable removed",
  };
  auto next = expected.begin();
  for (const std::string& line : lines(home.log())) {
    EXPECT_TRUE(std::regex_match(line, layout)) << line;
    if (next != expected.end() && line.ends_with("] " + *next)) {
      ++next;
    }
  }
  EXPECT_EQ(next, expected.end()) << "missing: " << *next << "\n" << home.log();
  EXPECT_TRUE(holds(home.log(), "chrome-extension://abcdefgh/"));
  EXPECT_FALSE(holds(home.log(), "Finding signing certificate"));

  HostProcess fatal(home);
  fatal.send("{}");
  ASSERT_EQ(fatal.waitForExit(), 1);
  EXPECT_TRUE(holds(home.log(), "ERROR VORNSigning - Request type is missing from the request message\n"));
  EXPECT_TRUE(home.log().ends_with("INFO  VORNSigning - Executable removed\n"));
}

TEST(Log, HoldsNothingPersonalUnlessVerbose) {
  const std::vector<std::string> personal = {
      "Jane Citizen",        "example.com",    "12345678901",        akiOf("main"),
      "1920354224474384430", "Test Authority", "CounterpartData>12", toBase64(agreement("12")).substr(0, 40)};
  Home home("main");
  HostProcess host(home);
  SignRequest request{.documents = {{agreement("12")}}};
  ASSERT_EQ(errorCode(host.ask(request.json())), 0);
  for (const std::string& text : personal) {
    EXPECT_FALSE(holds(home.log(), text)) << text;
  }
  for (const char* step :
       {"CertificateSelection - Finding signing certificate in system certificate store",
        "CertificateSelection - Found matching certificate", "XMLSigner - Signing XML data",
        "XMLSigner - Generating and loading signature for <CounterpartData>",
        "XMLSigner - Generating and loading signature for <RenderedData>",
        "XMLSigner - Finished signing XML"}) {
    EXPECT_TRUE(holds(home.log(), std::string("INFO  ") + step)) << step;
  }

  request.more = R"("verbose": "ON", "mark": 1, )";
  request.abn = "x";
  EXPECT_EQ(errorCode(host.ask(request.json())), 107);
  EXPECT_TRUE(holds(home.log(), "DEBUG CertificateSelection - Request name = Jane Citizen\n"));
  request.more = R"("verbose": 1, )";
  request.name = "Nobody";
  EXPECT_EQ(errorCode(host.ask(request.json())), 102);
  EXPECT_FALSE(holds(home.log(), R"(RequestHandler - Request message = {"verbose": 1)")) << "for one alone";
}

}  // namespace
}  // namespace e2e
