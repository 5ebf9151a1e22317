#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/mount.h>
#include <sys/resource.h>

#include <cstdio>
#include <fstream>
#include <memory>

#include "e2e/HostProcess.h"
#include "e2e/Messages.h"
#include "e2e/Token.h"
#include "linux/processes/BuildId.h"
#include "reliability/HostileBodies.h"
#include "reliability/LeakCheck.h"
#include "shared/base/Waiting.h"

/** What goes wrong around the host while it runs. Each ends as docs/reliability.md says. */
namespace reliability {
namespace {

using namespace e2e;
namespace fs = std::filesystem;

SignRequest jane() {
  return {.documents = {{agreement()}}};
}

SignRequest max() {
  return {.name = "Max Several", .documents = {{agreement()}}};
}

void expectSigned(const Home& home, const std::string& answer) {
  ASSERT_EQ(errorCode(answer), 0) << answer;
  EXPECT_TRUE(verifies(home, fromBase64(text(answer, "data")), "CounterpartData", Trust::keyValue));
}

fs::path keyStore(const Home& home) {
  return home.path() / ".pki" / "nssdb";
}

enum class LogFault { fromTheStart, takenAway, mayNotGrow };

TEST(Faults, LogThatCannotBeWritten) {
  for (const LogFault fault : {LogFault::fromTheStart, LogFault::takenAway, LogFault::mayNotGrow}) {
    Home home("main");
    if (fault == LogFault::fromTheStart) fs::create_directory(home.logPath());
    HostProcess host(home, leakChecked(home));
    host.ask(kVersionRequest);
    if (fault == LogFault::takenAway) {
      fs::remove(home.logPath());
      fs::create_directory(home.logPath());
    }
    const rlim_t most = fault == LogFault::mayNotGrow ? 200 : RLIM_INFINITY;
    const rlimit limit{most, most};
    ASSERT_EQ(prlimit(host.id(), RLIMIT_FSIZE, &limit, nullptr), 0);
    expectSigned(home, host.ask(jane().json()));
    expectSigned(home, host.ask(max().json()));
    host.closeInput();
    EXPECT_EQ(host.waitForExit(), 0);
    EXPECT_EQ(host.standardError(),
              "vorn-signing: no log is written to " + home.logPath().string() + ": " +
                  (fault == LogFault::mayNotGrow ? "File too large\n" : "Is a directory\n"));
  }
}

/** A file system of its own for a home, as small as they come; needs the right to mount. */
class SmallDisk {
 public:
  explicit SmallDisk(fs::path folder) : folder_(std::move(folder)) {
    fs::create_directory(folder_);
    mounted_ = mount("tmpfs", folder_.c_str(), "tmpfs", 0, "size=1m") == 0;
  }
  ~SmallDisk() {
    if (mounted_) umount2(folder_.c_str(), MNT_DETACH);
  }
  SmallDisk(const SmallDisk&) = delete;
  SmallDisk& operator=(const SmallDisk&) = delete;

  bool isMounted() const { return mounted_; }
  void fillUp() const {
    std::ofstream filler(folder_ / "filler", std::ios::binary);
    while (filler << std::string(4096, 'x') << std::flush) continue;
  }

 private:
  fs::path folder_;
  bool mounted_ = false;
};

TEST(Faults, DiskThatIsFull) {
  Home home("main");
  const SmallDisk disk(home.path() / "disk");
  if (!disk.isMounted()) GTEST_SKIP() << "no right to mount a small disk";
  fs::copy(home.path() / ".pki", home.path() / "disk" / ".pki", fs::copy_options::recursive);
  const HostOptions onDisk{.homeFolder = (home.path() / "disk").string()};
  HostProcess host(home, onDisk);
  host.ask(kVersionRequest);
  disk.fillUp();
  expectSigned(home, host.ask(jane().json()));
  expectSigned(home, host.ask(max().json()));
  EXPECT_NE(host.standardError().find("vorn-signing.log: No space left on device\n"), std::string::npos);
  HostProcess late(home, onDisk);
  expectSigned(home, late.ask(jane().json()));
}

/** The files of the open key store live on until the host ends. */
TEST(Faults, KeyStoreThatIsDeletedOrReplaced) {
  Home home("main");
  HostProcess host(home);
  expectSigned(home, host.ask(jane().json()));
  for (const auto& entry : fs::directory_iterator(home.path())) fs::remove_all(entry);
  expectSigned(home, host.ask(jane().json()));
  const Home locked("locked");
  fs::copy(locked.path() / ".pki", home.path() / ".pki", fs::copy_options::recursive);
  expectSigned(home, host.ask(max().json()));
  HostProcess late(home);
  EXPECT_EQ(errorCode(late.ask(jane().json())), 102);
  const SignRequest other{.aki = akiOf("locked"), .documents = {{agreement()}}};
  EXPECT_EQ(errorCode(late.ask(other.json())), 105);
}

TEST(Faults, KeyStoreThatIsDamaged) {
  Home home("main");
  HostProcess host(home);
  expectSigned(home, host.ask(jane().json()));
  for (const char* file : {"cert9.db", "key4.db"}) {
    std::fstream(keyStore(home) / file, std::ios::in | std::ios::out | std::ios::binary)
        << std::string(8192, '\xff');
  }
  EXPECT_EQ(errorCode(host.ask(jane().json())), 105);
  EXPECT_EQ(errorCode(host.ask(max().json())), 102);
  EXPECT_EQ(errorCode(host.ask(kVersionRequest)), 0);
  HostProcess late(home);
  EXPECT_EQ(errorCode(late.ask(max().json())), 100);
}

/** Another process that holds a database for itself. */
class Holder {
 public:
  explicit Holder(const fs::path& database)
      : pipe_(popen(("exec python3 -c 'import sqlite3,sys\nc=sqlite3.connect(\"" + database.string() +
                     "\",isolation_level=None)\nc.execute(\"BEGIN EXCLUSIVE\")\nopen(\"" + database.string() +
                     ".held\",\"w\").close()\nsys.stdin.read()'")
                        .c_str(),
                    "we"),  // no host may inherit the end that lets the holder go
              &pclose) {
    if (!vorn::comesWithin(kPatience, std::chrono::milliseconds(1),
                           [&] { return fs::exists(database.string() + ".held"); }))
      throw std::runtime_error("the database could not be held");
  }
  void release() { pipe_.reset(); }

 private:
  std::unique_ptr<FILE, int (*)(FILE*)> pipe_;
};

TEST(Faults, KeyStoreThatIsHeld) {
  for (const auto& [request, code] : {std::pair{max(), 100}, {jane(), 105}}) {
    Home home("main");
    HostProcess host(home);
    expectSigned(home, host.ask(jane().json()));
    Holder certificates(keyStore(home) / "cert9.db");
    Holder keys(keyStore(home) / "key4.db");
    HostProcess late(home);
    EXPECT_EQ(errorCode(late.ask(request.json())), 100);
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(errorCode(host.ask(request.json())), code);
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(20))
        << "NSS by itself waits for a minute";
    certificates.release();
    keys.release();
    expectSigned(home, host.ask(request.json()));
    expectSigned(home, late.ask(request.json()));
  }
}

TEST(Faults, UpgradeUnderARunningHost) {
  Home home("main");
  const fs::path host = home.path() / "vorn-signing";
  const fs::path files[] = {host, host.string() + "-keys", host.string() + "-module.so"};
  setenv("VORN_HOST", host.c_str(), 1);
  enum class Way { kRenamed, kInPlace, kKeysInPlace };
  for (const Way way : {Way::kRenamed, Way::kInPlace, Way::kKeysInPlace}) {
    for (const fs::path& file : files)
      fs::copy(fs::path(VORN_HOST).parent_path() / file.filename(), file,
               fs::copy_options::overwrite_existing);
    HostProcess running(home);
    running.ask(kVersionRequest);
    if (way == Way::kKeysInPlace) {
      std::string program = readFile(files[1]);
      program.replace(program.find(kBuildId), 1, "x");
      writeFile(files[1], program);
    }
    for (const fs::path& file : files) {
      if (way == Way::kKeysInPlace) break;
      if (way == Way::kInPlace && file == host)
        continue;  // the kernel lets nobody write to a program that runs
      if (way == Way::kRenamed) fs::remove(file);
      fs::copy(VORN_OTHER_MODULE, file, fs::copy_options::overwrite_existing);
    }
    const std::string answer = running.ask(jane().json());
    if (way == Way::kRenamed) {
      expectSigned(home, answer);
      continue;
    }
    EXPECT_EQ(errorCode(answer), 100) << answer;
    EXPECT_EQ(answer.find("is of another build") != std::string::npos, way == Way::kInPlace) << answer;
    EXPECT_EQ(running.waitForExit(), 0) << "the next connection starts another";
  }
  unsetenv("VORN_HOST");
}

TEST(Faults, ProcessForKeysThatIsKilled) {
  const Home home;
  HostProcess host(home, installToken(home, kPin));
  for (int kills = 0; kills < 2; ++kills) {
    expectSigned(home, host.ask(jane().json()));
    ASSERT_EQ(kill(host.keysId(), SIGKILL), 0);
  }
  expectSigned(home, host.ask(jane().json()));
  EXPECT_EQ(home.log().find("left out"), std::string::npos) << home.log();
}

TEST(Faults, TokenThatIsRemovedAndComesBack) {
  Home home;
  const HostOptions options = installToken(home, kPin);
  HostProcess host(home, options);
  expectSigned(home, host.ask(jane().json()));
  fs::rename(card(home), home.path() / "away");
  EXPECT_EQ(errorCode(host.ask(jane().json())), 105);
  EXPECT_EQ(errorCode(host.ask(max().json())), 102);
  EXPECT_EQ(errorCode(host.ask(kVersionRequest)), 0);
  HostProcess late(home, options);
  EXPECT_EQ(errorCode(late.ask(jane().json())), 102);
  fs::rename(home.path() / "away", card(home));
  std::this_thread::sleep_for(std::chrono::milliseconds(1100));  // NSS looks once in a second
  expectSigned(home, host.ask(jane().json()));
  expectSigned(home, late.ask(jane().json()));
}

TEST(Faults, OutputThatIsClosedInMidAnswer) {
  Home home("main");
  HostProcess host(home, leakChecked(home));
  host.send(SignRequest{.documents = {{harmlessXml(6000000)}}}.json());
  host.readSome(4096);
  host.closeOutput();
  EXPECT_EQ(host.waitForExit(), 0);
  EXPECT_NE(home.log().find("The browser has gone"), std::string::npos);
}

TEST(Faults, BrowserThatGoesBetweenTwoDocuments) {
  Home home("main");
  HostProcess reader(home, leakChecked(home));
  reader.ask(SignRequest{.documents = {{agreement()}}}.json());  // all is loaded then
  reader.send(SignRequest{.documents = {{agreement()}, {agreement()}}}.json());
  reader.closeInput();
  EXPECT_EQ(texts(reader.read(), "data").size(), 2U) << "who reads on is answered";
  for (const auto leave : {&HostProcess::closeOutput, &HostProcess::closeInput}) {
    HostProcess host(home, leakChecked(home));
    host.send(SignRequest{.documents = std::vector<Document>(20000, {agreement()})}.json());
    host.waitUntilRead();
    (host.*leave)();
    EXPECT_EQ(host.waitForExit(), 0);
    EXPECT_NE(home.log().find("The browser has gone: nobody waits for an answer"), std::string::npos);
    std::filesystem::remove(home.logPath());
  }
}

TEST(Faults, TerminationInMidSigning) {
  Home home("main");
  HostProcess host(home);
  host.send(SignRequest{.documents = {{harmlessXml(6000000)}}, .more = R"("verbose": "ON",)"}.json());
  host.waitUntilRead();
  kill(host.id(), SIGTERM);
  EXPECT_EQ(host.readToEnd(), "") << "no part of an answer";
  EXPECT_EQ(host.waitForExit(), 128 + SIGTERM);
  HostProcess next(home);
  expectSigned(home, next.ask(jane().json()));
}

}  // namespace
}  // namespace reliability
