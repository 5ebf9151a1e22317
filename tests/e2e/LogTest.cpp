#include <algorithm>
#include <functional>
#include <regex>
#include <thread>

#include <gtest/gtest.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>

#include "e2e/HostProcess.h"
#include "e2e/Messages.h"

namespace e2e {
namespace {

namespace fs = std::filesystem;

bool holds(const std::string& log, const std::string& text) {
  return log.find(text) != std::string::npos;
}

mode_t modeOf(const std::filesystem::path& path) {
  struct stat status{};
  return stat(path.c_str(), &status) == 0 ? status.st_mode & 07777U : 0;
}

/** The expression of a line with this record. */
std::string ofRecord(const std::string& record) {
  return R"(\d\d-\d\d-\d{4} \d\d:\d\d:\d\d\.\d{3} \[\d+\] (DEBUG|INFO |WARN |ERROR) )" + record;
}

TEST(Log, TellsTheLifeOfTheHostLineByLine) {
  Home home;
  HostProcess host(home, {.arguments = {"chrome-extension://abcdefgh/", "--parent-window=0"}});
  const std::string answer = host.ask(kVersionRequest);
  host.closeInput();
  ASSERT_EQ(host.waitForExit(), 0);
  EXPECT_EQ(modeOf(home.logPath()), 0600U);

  const std::regex layout(ofRecord("(VORNSigning|RequestHandler) - .+"));
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
    if (next != expected.end() && line.ends_with("] " + *next)) ++next;
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

/** Each record is one line and each line a record, though a page writes line ends and escapes wherever it
 * can. */
TEST(Log, CannotBeForged) {
  Home home("main");
  const std::string attack = "x\n01-01-2026 00:00:00.000 [1] error log - forged\x1b[2j\u2028\u202e\u009b";
  const std::string written =
      "x\\x0a01-01-2026 00:00:00.000 [1] error log - forged\\x1b[2j\\u2028\\u202e\\u009b";
  for (const std::string& request :
       {R"({"type": ")" + attack + "\"}", R"({"verbose": "ON", "type": ")" + attack + "\"}",
        SignRequest{.algorithm = attack, .documents = {{agreement()}}}.json(),
        SignRequest{.documents = {{agreement("\n\n\x7f"), attack}}, .more = R"("verbose": "ON", )"}.json()}) {
    fs::remove(home.logPath());
    HostProcess host(home, {.arguments = {"two\nlines"}});
    host.ask(request);
    host.closeInput();
    host.waitForExit();
    const std::string log = home.log();
    EXPECT_TRUE(holds(log, written)) << log;
    const std::regex start(ofRecord(R"(\w+ - )"));
    for (const std::string& line : lines(log)) {
      EXPECT_TRUE(std::regex_search(line, start, std::regex_constants::match_continuous)) << line;
      EXPECT_TRUE(std::all_of(line.begin(), line.end(), [](char c) { return c >= ' ' && c <= '~'; })) << line;
    }
  }
}

TEST(Log, TellsOfEverySignature) {
  struct Case {
    std::vector<std::string> arguments;
    std::string caller;
  };
  for (const Case& c :
       {Case{{"chrome-extension://abcdefgh/", "--parent-window=0"}, "chrome-extension://abcdefgh/"},
        Case{{"/home/jane/vorn.signing.json", "a@b.example"}, "a@b.example"}, Case{{}, "none"}}) {
    Home home("main");
    HostProcess host(home, {.arguments = c.arguments});
    const std::string answer =
        host.ask(SignRequest{.documents = {{agreement(), "first"}, {agreement()}}}.json());
    const std::string xml = fromBase64(texts(answer, "data").at(0));
    const std::size_t digest = xml.find("DigestValue>") + std::string("DigestValue>").size();
    const std::string end = ", certificate = 1920354224474384430, caller = " + c.caller + ", document = ";
    host.closeInput();
    host.waitForExit();
    const std::string log = home.log();
    EXPECT_TRUE(holds(log, "INFO  SignatureRecord - Signed <CounterpartData>: digest = " +
                               xml.substr(digest, xml.find('<', digest) - digest) + end + "first\n"))
        << log;
    EXPECT_TRUE(holds(log, end + "\n")) << "the second document has no id";
  }
}

/** In the place of the system's log, which is this thread's own. */
class LogListener {
 public:
  /** Reads a line after each pause, or, without one, nothing before it is asked. */
  explicit LogListener(std::chrono::milliseconds pause) {
    constexpr sockaddr_un kPlace{AF_UNIX, "/dev/log"};
    EXPECT_EQ(bind(socket_, reinterpret_cast<const sockaddr*>(&kPlace), sizeof kPlace), 0) << errno;
    if (pause.count() == 0) return;
    reader_ = std::jthread([this, pause](const std::stop_token& end) {
      for (; !end.stop_requested(); std::this_thread::sleep_for(pause)) take();
    });
  }
  ~LogListener() {
    reader_ = {};
    close(socket_);
    fs::remove("/dev/log");
  }

  /** All lines. */
  const std::vector<std::string>& heard() {
    reader_ = {};
    while (take()) continue;
    return all_;
  }

 private:
  bool take() {
    char line[8192];
    const ssize_t size = recv(socket_, line, sizeof line, MSG_DONTWAIT);
    if (size > 0) all_.emplace_back(line, static_cast<std::size_t>(size));
    return size > 0;
  }

  std::vector<std::string> all_;
  std::jthread reader_;
  const int socket_ = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
};

/** Runs the deed where /dev is its own and nobody listens at /dev/log; false without the right to mount. */
bool runWithOwnDevices(const std::function<void()>& deed) {
  bool may = false;
  std::thread([&] {
    std::string devices = "/tmp/vorn-devices-XXXXXX";
    if (mkdtemp(devices.data()) == nullptr || unshare(CLONE_NEWNS) != 0) return;
    may = mount("", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0 &&
          mount("/dev", devices.c_str(), nullptr, MS_BIND | MS_REC, nullptr) == 0 &&
          mount("tmpfs", "/dev", "tmpfs", 0, nullptr) == 0;
    if (!may) return;
    for (const auto& device : fs::directory_iterator(devices))
      if (device.path().filename() != "log")
        fs::create_symlink(device.path(), "/dev" / device.path().filename());
    deed();
    umount2(devices.c_str(), MNT_DETACH);
    rmdir(devices.c_str());
  }).join();
  return may;
}

/** How many signatures the host says that the system's log was not told of. */
std::size_t lostBy(const std::string& log) {
  std::smatch match;
  const std::regex count(R"((\d+) signatures? w[a-z]+ not told to the system's log)");
  std::size_t lost = 0;
  for (std::string rest = log; std::regex_search(rest, match, count); rest = match.suffix())
    lost += std::stoul(match[1]);
  return lost;
}

TEST(Log, TellsTheSystemOfEverySignature) {
  const std::string id = R"(1, caller = chrome-extension://good/, document = \"2)";
  const SignRequest request{.documents = {{agreement(), id + "\n"}, {agreement()}}};
  const std::string warning = "WARN  VORNSigning - The system's log is not told of signatures: ";
  const bool may = runWithOwnDevices([&] {
    struct Row {
      std::size_t documents;  // of a second request: if any, more than a queue takes
      std::chrono::milliseconds pause;
    };
    for (const auto& [documents, pause] :
         {Row{0, {}}, Row{150, {}}, Row{150, std::chrono::milliseconds(100)}}) {
      LogListener listener(pause);
      Home home("main");
      HostProcess host(home, {.arguments = {"/manifest.json", "evil\", document = \""}});
      const std::string answer = host.ask(request.json());
      ASSERT_EQ(errorCode(answer), 0);
      const auto start = std::chrono::steady_clock::now();
      if (documents > 0) {
        const std::string again =
            host.ask(SignRequest{.documents = std::vector<Document>(documents, {agreement()})}.json());
        EXPECT_EQ(errorCode(again), 0) << again;
      }
      EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(15)) << "waits for each line";
      const std::string log = home.log();
      EXPECT_EQ(holds(log, warning + "Resource temporarily unavailable\n"), documents > 0);
      const std::vector<std::string> lines = listener.heard();
      const auto told = std::count_if(lines.begin(), lines.end(),
                                      [](const std::string& line) { return holds(line, ": Signed <"); });
      const std::size_t lost = lostBy(log);
      EXPECT_EQ(lost > 0, documents > 0);
      EXPECT_EQ(static_cast<std::size_t>(told) + lost, 4 + 2 * documents);
      ASSERT_GE(told, 4);
      host.ask(kVersionRequest);  // the listener has room again
      std::size_t known = 0;
      for (const std::string& line : listener.heard()) known += lostBy(line);
      EXPECT_EQ(known, lost);
      const std::regex form(
          R"-(<14>.* vorn-signing\[\d+\]: Signed <CounterpartData>: digest = [^ ]{44}, certificate = )-"
          R"-(1920354224474384430, caller = "evil\\", document = \\"", document = )-"
          R"-("1, caller = chrome-extension://good/, document = \\"2\\x0a")-");
      EXPECT_TRUE(std::regex_match(lines[0], form)) << lines[0];
      EXPECT_TRUE(lines[3].ends_with(R"(, document = "")")) << lines[3];
      EXPECT_TRUE(holds(log, R"(, document = "1, caller = chrome-extension://good/, document = \"2\x0a")"));
    }
    Home home("main");
    HostProcess host(home);
    for (int time = 0; time < 2; ++time) EXPECT_EQ(errorCode(host.ask(request.json())), 0);
    const std::string log = home.log();
    EXPECT_EQ(lostBy(log), 8U) << log;
    EXPECT_EQ(log.find(warning), log.rfind(warning));
    EXPECT_TRUE(holds(log, warning + "No such file or directory\n")) << log;
  });
  if (!may) GTEST_SKIP() << "no right to mount";
}

TEST(Log, HoldsNothingPersonalUnlessVerbose) {
  const std::vector<std::string> personal = {"Jane Citizen",
                                             "example.com",
                                             "12345678901",
                                             akiOf("main"),
                                             "Test Authority",
                                             "CounterpartData>12",
                                             toBase64(agreement("12")).substr(0, 40)};
  Home home("main");
  HostProcess host(home);
  SignRequest request{.documents = {{agreement("12")}}};
  ASSERT_EQ(errorCode(host.ask(request.json())), 0);
  for (const std::string& text : personal) EXPECT_FALSE(holds(home.log(), text)) << text;
  for (const char* step :
       {"CertificateSelection - Finding signing certificate in system certificate store",
        "CertificateSelection - Found matching certificate", "XMLSigner - Signing XML data",
        "XMLSigner - Generating and loading signature for <CounterpartData>",
        "XMLSigner - Generating and loading signature for <RenderedData>",
        "XMLSigner - Finished signing XML"})
    EXPECT_TRUE(holds(home.log(), std::string("INFO  ") + step)) << step;

  request.more = R"("verbose": "ON", "mark": 1, )";
  request.abn = "x";
  EXPECT_EQ(errorCode(host.ask(request.json())), 107);
  EXPECT_TRUE(holds(home.log(), "DEBUG CertificateSelection - Request name = Jane Citizen\n"));
  request.more = R"("verbose": 1, )";
  request.name = "Nobody";
  EXPECT_EQ(errorCode(host.ask(request.json())), 102);
  EXPECT_FALSE(holds(home.log(), R"(RequestHandler - Request message = {"verbose": 1)")) << "for one alone";
}

/** Whatever is wrong with a document: names and addresses are quoted, and nothing else. */
TEST(Log, QuotesNamesOfADocumentButNothingThatItSays) {
  Home home("main");
  HostProcess host(home);
  std::string log;
  for (const std::string fault :
       {"</NAME>", "<NAME xmlns='NAME'/>", "<NAME:x/>", "&NAME;", "<a NAME=SECRET/>",
        "<a b='SECRET' b='SECRET'/>", "<a b='SECRET<'/>", "<!-- SECRET -- -->", "SECRET]]>",
        "<![CDATA[SECRET", "<?xml SECRET?>", "<?NAME:x SECRET?>", "&#x1;SECRET", "<a b='SECRET&NAME'/>",
        "\xffSECRET", "<a xml:space='SECRET' xml:lang='SECRET'/>", "<RenderedData/>"}) {
    for (const char* type : {"", "<!DOCTYPE A SYSTEM 'NAME'>", "<!DOCTYPE A [<!ENTITY e 'SECRET<'>]>",
                             "<!DOCTYPE A [<!ENTITY e 'SECRET'><!ATTLIST A b CDATA 'SECRET'>]>"}) {
      host.ask(
          SignRequest{.documents = {{type + agreement("SECRET<a b='SECRET'/>" + fault + "&e;")}}}.json());
      log += home.log();
      fs::remove(home.logPath());
    }
  }
  for (const char* part : {"'NAME'", "namespace-name", "Multiple <RenderedData>"})
    EXPECT_TRUE(holds(log, part)) << part;
  EXPECT_FALSE(holds(log, "SECRET")) << log.substr(std::max<std::size_t>(log.find("SECRET"), 200) - 200, 400);
}

}  // namespace
}  // namespace e2e
