#include <Security/SecDigestTransform.h>
#include <Security/SecEncryptTransform.h>
#include <Security/SecSignVerifyTransform.h>
#include <Security/Security.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/prctl.h>
#include <sys/wait.h>

#include <chrono>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <set>

#include "linux/frameworks/Security/KeyStoreReport.h"
#include "linux/frameworks/Security/NssError.h"
#include "security/CertificateFiles.h"

namespace security_test {
namespace {

using namespace vorn::frameworks;
namespace fs = std::filesystem;

std::string homeFolder(const std::string& name) {
  return VORN_TEST_FILES "/homes/" + name;
}

/**
 * Runs `body` in a process of its own with that home folder, since a process opens one key database in its
 * life. Its expectations count as the test's.
 */
void inHome(const std::string& home, const std::function<void()>& body) {
  std::fflush(nullptr);
  const pid_t child = fork();
  if (child == 0) {
    setenv("HOME", home.c_str(), 1);
    for (const char* name : {"XDG_DATA_HOME", "XDG_CONFIG_HOME"}) unsetenv(name);
    const std::size_t before = Object::liveCount();
    body();
    EXPECT_EQ(Object::liveCount(), before);
    std::exit(testing::Test::HasFailure() ? 1 : 0);  // not _exit: a leak checker works at the end
  }
  int status = -1;
  waitpid(child, &status, 0);
  EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << "status " << status;
}

CFRef<CFArrayRef> search(const std::string& name, OSStatus expected = errSecSuccess) {
  const auto text = makeString(name);
  const void* keys[] = {kSecClass, kSecAttrCanSign, kSecMatchSubjectWholeString, kSecMatchLimit,
                        kSecReturnRef};
  const void* values[] = {kSecClassIdentity, kCFBooleanTrue, text.get(), kSecMatchLimitAll, kCFBooleanTrue};
  const auto query =
      CFRef<CFDictionaryRef>::adopt(CFDictionaryCreate(nullptr, keys, values, 5, nullptr, nullptr));
  CFTypeRef result = nullptr;
  EXPECT_EQ(SecItemCopyMatching(query.get(), &result), expected) << name;
  EXPECT_EQ(result == nullptr, expected != errSecSuccess);
  return CFRef<CFArrayRef>::adopt(static_cast<CFArrayRef>(result));
}

SecIdentityRef identityAt(const CFRef<CFArrayRef>& identities, CFIndex index) {
  return static_cast<SecIdentityRef>(const_cast<void*>(CFArrayGetValueAtIndex(identities.get(), index)));
}

CFRef<SecKeyRef> keyOf(const std::string& name, CFIndex index = 0) {
  const auto identities = search(name);
  CFRef<SecKeyRef> key;
  EXPECT_EQ(SecIdentityCopyPrivateKey(identityAt(identities, index), key.out()), errSecSuccess);
  return key;
}

CFRef<CFDataRef> data(const std::vector<std::uint8_t>& bytes) {
  return CFRef<CFDataRef>::adopt(CFDataCreate(nullptr, bytes.data(), static_cast<CFIndex>(bytes.size())));
}

struct Request {
  CFTypeRef digestType = kSecDigestSHA1;
  long digestLength = 160;
};

struct Signed {
  std::vector<std::uint8_t> signature;
  CFIndex code = 0;
  std::string description;
};

const std::vector<std::uint8_t> kDigest(20, 1);

/** Signs as the host does. */
Signed sign(const CFRef<SecKeyRef>& key, const std::vector<std::uint8_t>& bytes, const Request& request) {
  CFRef<CFErrorRef> error;
  const auto signer = CFRef<SecTransformRef>::adopt(SecSignTransformCreate(key.get(), error.out()));
  const auto input = data(bytes);
  const auto length =
      CFRef<CFNumberRef>::adopt(CFNumberCreate(nullptr, kCFNumberLongType, &request.digestLength));
  const std::pair<CFStringRef, CFTypeRef> attributes[] = {
      {kSecTransformInputAttributeName, input.get()}, {kSecInputIsAttributeName, kSecInputIsDigest},
      {kSecPaddingKey, kSecPaddingPKCS1Key},          {kSecDigestTypeAttribute, request.digestType},
      {kSecDigestLengthAttribute, length.get()},
  };
  for (const auto& [name, value] : attributes)
    EXPECT_TRUE(SecTransformSetAttribute(signer.get(), name, value, error.out()));
  const auto result = CFRef<CFTypeRef>::adopt(SecTransformExecute(signer.get(), error.out()));
  EXPECT_NE(static_cast<bool>(result), static_cast<bool>(error));
  if (!error) return {objectCast<Data>(result.get())->bytes(), 0, ""};
  const auto description = CFRef<CFStringRef>::adopt(CFErrorCopyDescription(error.get()));
  return {{}, CFErrorGetCode(error.get()), std::string(utf8Of(description.get()))};
}

std::vector<std::uint8_t> opensslOutput(const std::string& arguments) {
  std::vector<std::uint8_t> output;
  FILE* pipe = popen(("openssl " + arguments).c_str(), "r");
  for (int octet = std::fgetc(pipe); octet != EOF; octet = std::fgetc(pipe))
    output.push_back(static_cast<std::uint8_t>(octet));
  EXPECT_EQ(pclose(pipe), 0) << arguments;
  return output;
}

std::string writeTemporary(const std::string& name, const std::vector<std::uint8_t>& bytes) {
  std::string path = testing::TempDir() + name + std::to_string(getpid());
  std::ofstream(path, std::ios::binary)
      .write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
  return path;
}

const std::vector<std::uint8_t> kMessage{'a', ' ', 'm', 'e', 's', 's', 'a', 'g', 'e'};

TEST(KeyStore, FindsIdentitiesByCommonName) {
  inHome(
      homeFolder("plain"),
      [] {
        for (const char* absent : {"jane citizen", "Jane", "Jane Citizen ", "Example", "Zoe Curve", ""})
          search(absent, errSecItemNotFound);
        EXPECT_EQ(CFArrayGetCount(search("Zoë Curve").get()), 1);
        EXPECT_FALSE(tokenOf(identityAt(search("Zoë Curve"), 0)).locked);
        EXPECT_EQ(tokenOf(nullptr).name, "");
        // Two keys, one of them with two certificates; the certificate without a key makes no identity.
        const auto identities = search("Jane Citizen");
        ASSERT_EQ(CFArrayGetCount(identities.get()), 3);
        std::multiset<std::size_t> lengths;
        for (CFIndex index = 0; index < 3; ++index) {
          lengths.insert(sign(keyOf("Jane Citizen", index), kDigest, {}).signature.size());
          CFRef<SecCertificateRef> certificate;
          CFRef<SecCertificateRef> again;
          ASSERT_EQ(SecIdentityCopyCertificate(identityAt(identities, index), certificate.out()),
                    errSecSuccess);
          EXPECT_EQ(SecIdentityCopyCertificate(identityAt(identities, index), again.out()), errSecSuccess);
          EXPECT_EQ(certificate.get(), again.get());
        }
        EXPECT_EQ(lengths, (std::multiset<std::size_t>{256, 256, 384})) << "each signs with its own key";
      });
}

TEST(KeyStore, SignaturesVerify) {
  inHome(
      homeFolder("plain"),
      [] {
        const std::string message = writeTemporary("message", kMessage);
        const struct {
          std::string digest;
          CFTypeRef type;
          long bits;
        } rows[] = {
            {"sha1", kSecDigestSHA1, 160}, {"sha256", kSecDigestSHA2, 256}, {"sha512", kSecDigestSHA2, 512}};
        const auto key = keyOf("Jane Citizen");
        for (const auto& row : rows) {
          const auto digest = opensslOutput("dgst -binary -" + row.digest + " " + message);
          const Signed result = sign(key, digest, {row.type, row.bits});
          EXPECT_EQ(result.description, "");
          const std::string signature = writeTemporary("signature", result.signature);
          opensslOutput("dgst -" + row.digest + " -verify " + homeFolder("jane") + ".pub -signature " +
                        signature + " " + message);
        }
      });
}

TEST(KeyStore, RefusalsOfTheSigner) {
  inHome(
      homeFolder("plain"),
      [] {
        constexpr char kChoice[] =
            "choose one of: SHA1, SHA2 (512bits, 348bits, 256bits, or 224 bits), MD2, or MD5";
        constexpr char kLength[] = "(Internal CSSM error error -2147415807 - Internal error #80010901 at ";
        const struct {
          const char* name;
          std::size_t inputLength;
          Request request;
          CFIndex code;
          const char* text;
        } rows[] = {
            {"Jane Citizen", 20, {nullptr, -1}, 6, kChoice},
            {"Jane Citizen", 20, {kSecDigestSHA1, 256}, 6, kChoice},
            {"Jane Citizen", 20, {kSecClass, 160}, 6, kChoice},
            {"Jane Citizen", 32, {kSecDigestSHA1, 160}, -2147415807, kLength},
            {"Small Key", 64, {kSecDigestSHA2, 512}, -2147415807, kLength},
            {"Zoë Curve", 32, {kSecDigestSHA2, 256}, 6, "Expected key to be an RSA key that signs"},
        };
        for (const auto& row : rows) {
          const Signed result =
              sign(keyOf(row.name), std::vector<std::uint8_t>(row.inputLength, 1), row.request);
          EXPECT_EQ(result.code, row.code);
          EXPECT_NE(result.description.find(row.text), std::string::npos) << result.description;
        }
        const auto certificate = certificateOf(readFile("full.der"));
        CFRef<SecKeyRef> publicKey;
        ASSERT_EQ(SecCertificateCopyPublicKey(certificate.get(), publicKey.out()), errSecSuccess);
        EXPECT_EQ(sign(publicKey, kDigest, {}).code, 6);
      });
}

TEST(KeyStore, PasswordIsNeitherNeededToFindNorAskedForToSign) {
  inHome(
      homeFolder("locked"),
      [] {
        const auto found = search("Jane Citizen");
        ASSERT_EQ(CFArrayGetCount(found.get()), 1);
        EXPECT_EQ(tokenOf(identityAt(found, 0)).name, "NSS Certificate DB");
        EXPECT_TRUE(tokenOf(identityAt(found, 0)).locked);
        const Signed result = sign(keyOf("Jane Citizen"), kDigest, {});
        EXPECT_EQ(result.code, -2147415840);
        EXPECT_NE(result.description.find("Internal error #800108e0 at "), std::string::npos);
        EXPECT_NE(result.description.find("SEC_ERROR_BAD_PASSWORD"), std::string::npos) << result.description;
      });
}

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
  Stores(const std::vector<std::pair<std::string, std::string>>& databases, const std::string& profiles) {
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

 private:
  fs::path home_ = testing::TempDir() + "stores" + std::to_string(getpid());
};

TEST(KeyStore, EveryStoreIsReadAndWhatLiesInSeveralIsOneIdentity) {
  const std::string shared = ".pki/nssdb";
  const std::string second = ".local/share/pki/nssdb";
  const std::string profile = ".mozilla/firefox/a'b \\]>.default";
  const std::string list =
      "[Install1]\nDefault=x\n[Profile0]\nName=\xc3\xa4 name that is longer than names may be\n"
      "IsRelative=1\r\nPath=a'b \\]>.default\n[Profile1]\nIsRelative=0\nPath=HOME/far\n";
  const struct {
    std::vector<std::pair<std::string, std::string>> databases;
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
      const Token token = tokenOf(identityAt(identities, 0));
      const std::string expected = row.token == "Firefox: HOME/far"
                                       ? ("Firefox: " + stores.home().string() + "/far").substr(0, 32)
                                       : row.token;
      EXPECT_EQ(token.name, expected);
      EXPECT_EQ(sign(keyOf("Jane Citizen"), kDigest, {}).signature.empty(), token.locked);
      EXPECT_TRUE(storeFaults().empty()) << storeFaults()[0].reason;
    });
  }
}

TEST(KeyStore, ModulesThatHangCrashOrFailAreLeftOut) {
  const Stores stores({{".pki/nssdb", "plain"}}, "");
  const fs::path registrations = stores.home() / ".config/pkcs11/modules";
  fs::create_directories(registrations);
  std::map<fs::path, std::string> expected;
  const auto add = [&](const std::string& deed, const std::string& reason) {
    const fs::path library = stores.home() / (deed + ".so");
    if (deed != "missing") fs::copy(VORN_FAULTY_MODULE, library);
    std::ofstream(registrations / (deed + ".module"))
        << "# a comment\nenable-in: x, vorn-signing\nmodule: " << library.string() << "\n";
    expected[library] = reason;
  };
  add("hangs", "it does not answer");
  add("stalls", "it does not answer");
  add("crashes", "it crashes (signal 6)");
  add("fails", "C_Initialize of the module fails (PKCS #11 error 0x30)");
  add("missing", "No such file or directory");
  // Nor is it asked for what is not registered for it, and for one library twice.
  std::ofstream(registrations / "other.module") << "module: /other.so\ndisable-in: x, p11-kit-proxy\n";
  std::ofstream(stores.home() / ".pki/nssdb/pkcs11.txt", std::ios::app)
      << "library=" << (stores.home() / "fails.so").string() << "\nname=again\n\n";
  inHome(stores.home(), [&] {
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(CFArrayGetCount(search("Jane Citizen").get()), 3);
    search("Jane Citizen");
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(5));
    std::map<fs::path, std::string> found;
    for (const StoreFault& fault : storeFaults()) {
      EXPECT_TRUE(found.emplace(fault.place, fault.reason).second) << fault.place;
      EXPECT_NE(fault.reason.find(expected[fault.place]), std::string::npos) << fault.place << fault.reason;
    }
    EXPECT_EQ(found.size(), 5U);
  });
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

/** A home folder of its own, with a copy of the database of "plain". */
class Copy {
 public:
  Copy() {
    fs::create_directories(home_);
    fs::copy(homeFolder("plain"), home_, fs::copy_options::recursive);
  }
  ~Copy() { fs::remove_all(home_); }
  fs::path database() const { return home_ / ".pki" / "nssdb"; }
  const fs::path& home() const { return home_; }

 private:
  fs::path home_ = testing::TempDir() + "copy" + std::to_string(getpid());
};

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
    const Copy copy;
    row.damage(copy.database());
    inHome(copy.home(), [&] {
      constexpr uid_t kNobody = 65534;
      // Root may read everything.
      const bool isRoot = geteuid() == 0 && std::string(row.reason).starts_with("cert9.db: Permission");
      ASSERT_TRUE(!isRoot || seteuid(kNobody) == 0);
      search("Jane Citizen", errSecNotAvailable);
      EXPECT_NE(reasonOf(errSecNotAvailable).find(row.reason), std::string::npos)
          << reasonOf(errSecNotAvailable);
      EXPECT_EQ(reasonOf(errSecItemNotFound), "");
      ASSERT_TRUE(!isRoot || seteuid(0) == 0);
      prctl(PR_SET_DUMPABLE, 1);  // for the leak checker
    });
    fs::permissions(copy.database(), fs::perms::owner_all);
  }
}

/** Another process that holds the file as SQLite's writers do. */
pid_t holdFile(const fs::path& file) {
  int ready[2];
  EXPECT_EQ(pipe(ready), 0);
  const pid_t holder = fork();
  if (holder == 0) {
    struct flock lock {};
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
  const Copy copy;
  inHome(copy.home(), [&] {
    search("Jane Citizen");
    for (const char* name : {"cert9.db", "key4.db"}) {
      const pid_t holder = holdFile(copy.database() / name);
      search("Jane Citizen", errSecNotAvailable);
      EXPECT_EQ(reasonOf(errSecNotAvailable), "Another process holds the key database for itself");
      kill(holder, SIGKILL);
      waitpid(holder, nullptr, 0);
    }
    search("Jane Citizen");
  });
}

/** Names, sizes, times and contents of the files. */
std::string stateOf(const fs::path& folder) {
  std::string state;
  for (const auto& entry : fs::directory_iterator(folder)) {
    std::ifstream file(entry.path(), std::ios::binary);
    state += entry.path().filename().string() +
             std::to_string(entry.last_write_time().time_since_epoch().count()) +
             std::string(std::istreambuf_iterator<char>(file), {});
  }
  return state;
}

TEST(KeyStore, LeavesTheDatabaseUntouched) {
  const fs::path folder = homeFolder("plain") + "/.pki/nssdb";
  const std::string before = stateOf(folder);
  inHome(homeFolder("plain"), [] { sign(keyOf("Jane Citizen"), kDigest, {}); });
  EXPECT_EQ(stateOf(folder), before);
}

TEST(KeyStore, ForkedProcessGetsAnAnswer) {
  inHome(
      homeFolder("plain"),
      [] {
        const auto key = keyOf("Jane Citizen");
        inHome(
            homeFolder("plain"), [&] { sign(key, kDigest, {}); });
      });
}

}  // namespace
}  // namespace security_test
