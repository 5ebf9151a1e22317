#include <fcntl.h>
#include <linux/capability.h>
#include <sys/prctl.h>
#include <sys/stat.h>

#include <chrono>
#include <csignal>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <map>

#include "linux/frameworks/Security/KeyProcess.h"
#include "security/KeyStoreHome.h"

/** Where keys are looked for, and what becomes of a place that cannot be used. */
namespace security_test {
namespace {

namespace fs = std::filesystem;

TEST(KeyStore, DatabaseThatComesLater) {
  const fs::path home = testing::TempDir() + "home with 'quotes' " + std::to_string(getpid());
  fs::create_directories(home / ".pki");
  inHome(home, [&] {
    search("Jane Citizen", errSecItemNotFound);
    EXPECT_TRUE(fs::is_empty(home / ".pki"));
    fs::copy(homeFolder("plain") + "/.pki", home / ".pki", fs::copy_options::recursive);
    EXPECT_EQ(CFArrayGetCount(search("Jane Citizen").get()), 3);
  });
  fs::remove_all(home);
}

/** A home folder with these databases, each a copy of that of a prepared home. */
class Stores {
 public:
  using Databases = std::vector<std::pair<std::string, std::string>>;

  explicit Stores(const Databases& databases = {{".pki/nssdb", "plain"}}, const std::string& profiles = "") {
    for (const auto& [folder, prepared] : databases) {
      fs::create_directories(home_ / folder);
      fs::copy(homeFolder(prepared) + "/.pki/nssdb", home_ / folder);
    }
    const std::string placeholder = "HOME";
    for (const char* root : {".mozilla/firefox", "snap/firefox/common/.mozilla/firefox"}) {
      std::string text = profiles;
      if (const auto at = text.find(placeholder); at != std::string::npos)
        text.replace(at, placeholder.size(), home_.string());
      if (fs::exists(home_ / root)) std::ofstream(home_ / root / "profiles.ini") << text;
    }
  }
  ~Stores() { fs::remove_all(home_); }
  const fs::path& home() const { return home_; }
  fs::path shared() const { return home_ / ".pki/nssdb"; }

 private:
  fs::path home_ = testing::TempDir() + "stores" + std::to_string(getpid());
};

TEST(KeyStore, EveryStoreIsReadAndWhatLiesInSeveralIsOneIdentity) {
  const std::string shared = ".pki/nssdb";
  const std::string second = ".local/share/pki/nssdb";
  const std::string profile = ".mozilla/firefox/a'b \\]>.default";
  const std::string list =
      "[Install1]\nDefault=x\n[Profile0]\nName=\xc3\xa4 name that is longer than names may be\n"
      "IsRelative=1\nPath=a'b \\]>.default\r\n[Profile1]\nIsRelative=0\nPath=HOME/far\n";
  const struct {
    Stores::Databases databases;
    CFIndex count;     /**< identities of the name */
    std::string token; /**< that holds the first */
  } rows[] = {
      {{{second, "plain"}}, 3, "NSS Certificate DB"},
      {{{shared, "plain"}, {second, "plain"}}, 3, "NSS Certificate DB"},
      {{{shared, "empty"}, {second, "plain"}}, 3, "~/.local/share/pki/nssdb"},
      {{{shared, "locked"}, {second, "plain"}}, 3, "~/.local/share/pki/nssdb"},
      {{{shared, "locked"}, {second, "empty"}}, 1, "NSS Certificate DB"},
      {{{profile, "plain"}}, 3, "Firefox: \xc3\xa4 name that is longer"},
      {{{shared, "plain"}, {profile, "plain"}}, 3, "NSS Certificate DB"},
      {{{shared, "locked"}, {profile, "plain"}}, 3, "Firefox: \xc3\xa4 name that is longer"},
      {{{"snap/firefox/common/.mozilla/firefox/x", "empty"}, {"far", "plain"}}, 3, "Firefox: HOME/far"},
  };
  for (const auto& row : rows) {
    const Stores stores(row.databases, list);
    inHome(stores.home(), [&] {
      const auto identities = search("Jane Citizen");
      EXPECT_EQ(CFArrayGetCount(identities.get()), row.count) << row.token;
      const keys::Token token = tokenOf(identityAt(identities, 0));
      const std::string expected = row.token == "Firefox: HOME/far"
                                       ? ("Firefox: " + stores.home().string() + "/far").substr(0, 32)
                                       : row.token;
      EXPECT_EQ(token.name, expected);
      EXPECT_EQ(sign(keyOf("Jane Citizen"), kDigest, {}).signature.empty(), token.locked);
      EXPECT_TRUE(KeyProcess::instance().faults().empty()) << KeyProcess::instance().faults()[0].reason;
    });
  }
}

TEST(KeyStore, ModulesThatHangCrashOrFailAreLeftOut) {
  const Stores stores;
  const fs::path registrations = stores.home() / ".config/pkcs11/modules";
  fs::create_directories(registrations);
  std::map<fs::path, std::string> expected;
  const auto add = [&](const std::string& deed, const std::string& fault, const std::string& reason) {
    const fs::path library = stores.home() / (deed + ".so");
    if (deed != "missing") fs::copy(VORN_TOKEN_MODULE, library);
    std::ofstream(library.string() + ".fault") << fault;
    std::ofstream(registrations / (deed + ".module"))
        << "# a comment\nenable-in: x, vorn-signing\nmodule: " << library.string() << "\n";
    expected[library] = reason;
  };
  add("stalls", "C_GetSlotList hang", "it does not answer within 20 seconds, in C_GetSlotList");
  add("crashes", "C_Initialize crash", "it crashes (signal 6), in C_Initialize");
  add("exits", "C_Initialize exit", "it ends the process that loads it, in C_Initialize");
  add("fails", "C_Initialize fail", "C_Initialize of the module fails (PKCS #11 error 0x30)");
  add("missing", "", "No such file or directory");
  // Nor is it asked for what is not registered for it, and for one library twice.
  std::ofstream(registrations / "other.module") << "module: /other.so\ndisable-in: x, p11-kit-proxy\n";
  std::ofstream(stores.home() / ".pki/nssdb/pkcs11.txt", std::ios::app)
      << "library=" << (stores.home() / "fails.so").string() << "\nname=again\n\n";
  inHome(stores.home(), [&] {
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(CFArrayGetCount(search("Jane Citizen").get()), 3);
    search("Jane Citizen");
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(30));
    std::map<fs::path, std::string> found;
    for (const keys::StoreFault& fault : KeyProcess::instance().faults()) {
      EXPECT_TRUE(found.emplace(fault.place, fault.reason).second) << fault.place;
      EXPECT_NE(fault.reason.find(expected[fault.place]), std::string::npos) << fault.place << fault.reason;
    }
    EXPECT_EQ(found.size(), 5U);
  });
}

TEST(KeyStore, FilesThatAreNoneAreLeftOut) {
  const std::string second = ".local/share/pki/nssdb/";
  const std::string files[] = {
      ".mozilla/firefox/profiles.ini",   ".pki/nssdb/pkcs11.txt", ".config/pkcs11/pkcs11.conf",
      ".config/pkcs11/modules/x.module", second + "cert9.db",     second + "key4.db",
      second + "key4.db-journal"};
  const std::function<void(const fs::path&)> makes[] = {
      [](const fs::path& file) { EXPECT_EQ(mkfifo(file.c_str(), 0600), 0); },
      [](const fs::path& file) { fs::create_symlink("/dev/zero", file); },
      [](const fs::path& file) {
        std::ofstream(file).close();
        fs::resize_file(file, std::uintmax_t{1} << (file.extension() == ".db" ? 31 : 21));
      }};
  for (const std::string& name : files) {
    for (const auto& make : makes) {
      if (&make == &makes[2] && name.ends_with("-journal")) continue;
      const bool isFirst = name.starts_with(".pki") && name.ends_with(".db");
      const Stores stores(
          {{".pki/nssdb", isFirst ? "empty" : "plain"}, {second, isFirst ? "plain" : "empty"}});
      const fs::path file = stores.home() / name;
      fs::create_directories(file.parent_path());
      fs::remove(file);
      make(file);
      inHome(stores.home(), [&] {
        EXPECT_EQ(CFArrayGetCount(search("Jane Citizen").get()), 3) << name;
        ASSERT_EQ(KeyProcess::instance().faults().size(), 1U) << name;
        const keys::StoreFault fault = KeyProcess::instance().faults()[0];
        EXPECT_NE((fault.place.string() + fault.reason).find(file.string()), std::string::npos)
            << fault.reason;
      });
    }
  }
}

TEST(KeyStore, DataFolderIsThatOfTheEnvironmentUnlessRelative) {
  inHome(homeFolder("none"), [] {
    setenv("XDG_DATA_HOME", (homeFolder("data") + "/.local/share").c_str(), 1);
    search("Jane Citizen");
  });
  inHome(homeFolder("none"), [] {
    setenv("XDG_DATA_HOME", "relative", 1);
    search("Jane Citizen", errSecItemNotFound);
  });
}

std::string reasonOf(OSStatus status) {
  const auto reason = CFRef<CFStringRef>::adopt(SecCopyErrorMessageString(status, nullptr));
  return std::string(utf8Of(reason.get()));
}

TEST(KeyStore, DatabaseThatCannotBeReadIsNotTakenForAnEmptyOne) {
  const struct {
    void (*damage)(const fs::path& database);
    const char* reason;
  } rows[] = {
      {[](const fs::path& database) { std::ofstream(database / "cert9.db") << "no database"; },
       "nssdb cannot be opened (SEC_ERROR_"},
      {[](const fs::path& database) { fs::permissions(database / "cert9.db", fs::perms::owner_write); },
       "cert9.db: Permission denied)"},
      {[](const fs::path& database) { fs::permissions(database, fs::perms::owner_write); },
       "cert9.db: Permission denied)"},
  };
  for (const auto& row : rows) {
    const Stores copy;
    row.damage(copy.shared());
    inHome(copy.home(), [&] {
      // Root may read everything, and so may what it starts.
      for (const int right : {CAP_DAC_OVERRIDE, CAP_DAC_READ_SEARCH})
        ASSERT_TRUE(geteuid() != 0 || prctl(PR_CAPBSET_DROP, right) == 0);
      search("Jane Citizen", errSecNotAvailable);
      EXPECT_NE(reasonOf(errSecNotAvailable).find(row.reason), std::string::npos)
          << reasonOf(errSecNotAvailable);
      EXPECT_EQ(reasonOf(errSecItemNotFound), "");
    });
    fs::permissions(copy.shared(), fs::perms::owner_all);
  }
}

/** Another process that holds the file as SQLite's writers do. */
pid_t holdFile(const fs::path& file) {
  int ready[2];
  EXPECT_EQ(pipe(ready), 0);
  const pid_t holder = fork();
  if (holder == 0) {
    struct flock lock{};
    lock.l_type = F_WRLCK;
    lock.l_start = 0x40000002;
    lock.l_len = 510;
    _exit(fcntl(open(file.c_str(), O_RDWR), F_SETLK, &lock) == 0 && write(ready[1], "", 1) == 1 ? pause()
                                                                                                : 1);
  }
  close(ready[1]);
  char byte = 1;
  EXPECT_EQ(read(ready[0], &byte, 1), 1);
  close(ready[0]);
  return holder;
}

TEST(KeyStore, EitherFileThatIsHeldStopsTheSearch) {
  const Stores copy;
  inHome(copy.home(), [&] {
    search("Jane Citizen");
    for (const char* name : {"cert9.db", "key4.db"}) {
      const pid_t holder = holdFile(copy.shared() / name);
      search("Jane Citizen", errSecNotAvailable);
      EXPECT_EQ(reasonOf(errSecNotAvailable), "Another process holds the key database for itself");
      kill(holder, SIGKILL);
      waitpid(holder, nullptr, 0);
    }
    search("Jane Citizen");
  });
}

}  // namespace
}  // namespace security_test
