#include "vornctl/browsers/Registration.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <algorithm>
#include <system_error>

#include "e2e/Home.h"
#include "vornctl/base/AtomicFile.h"

namespace vorn::vornctl {
namespace {

namespace fs = std::filesystem;

const std::string kId = "abcdefghijklmnopabcdefghijklmnop";
const std::string kOtherId = "ponmlkjihgfedcbaponmlkjihgfedcba";
const ExtensionIds kIds = readExtensionIds({kId, kOtherId, "signing@example.com"});
constexpr const char* kHost = "/usr/lib/vorn-signing/vorn-signing";

/** A home with a root of its own beside it, both empty at first. */
class Registration : public testing::Test {
 protected:
  void make(const std::string& folder) { fs::create_directories(home_.path() / folder); }
  std::string text(const std::string& file) const { return e2e::readFile(home_.path() / file); }
  std::vector<ManifestChange> add(const RegistrationRequest& request = {}) {
    return registerHost(places_, request, kHost, {kIds, true});
  }
  /** "Chromium written" for every change. */
  static std::vector<std::string> brief(const std::vector<ManifestChange>& changes, bool dryRun = false) {
    std::vector<std::string> lines;
    for (const ManifestChange& change : changes)
      lines.push_back(change.browser + " " + wordFor(change.action, dryRun));
    return lines;
  }
  /** All files below the home. */
  std::vector<std::string> files() const {
    std::vector<std::string> paths;
    for (const auto& entry : fs::recursive_directory_iterator(home_.path()))
      if (!entry.is_directory()) paths.push_back(entry.path().lexically_relative(home_.path()).string());
    std::sort(paths.begin(), paths.end());
    return paths;
  }

  e2e::Home home_;
  Places places_{System::kLinux, home_.path(), home_.path() / ".config", home_.path() / "root"};
};

using Lines = std::vector<std::string>;

TEST_F(Registration, WritesWhereBrowsersAre) {
  make(".config/chromium");
  make("snap/firefox");
  EXPECT_EQ(brief(add()), Lines({"Chrome missing", "Chromium written", "Edge missing", "Brave missing",
                                 "Vivaldi missing", "Opera missing", "Firefox written"}));
  EXPECT_EQ(files(), Lines({".config/chromium/NativeMessagingHosts/vorn.signing.json",
                            ".mozilla/native-messaging-hosts/vorn.signing.json"}));
  EXPECT_EQ(text(".config/chromium/NativeMessagingHosts/vorn.signing.json"),
            e2e::readFile(VORN_GOLDEN "/chromium.json"));
  EXPECT_EQ(text(".mozilla/native-messaging-hosts/vorn.signing.json"),
            e2e::readFile(VORN_GOLDEN "/firefox.json"));
}

TEST_F(Registration, IsIdempotentAndRepairs) {
  make(".config/chromium");
  const std::string file = ".config/chromium/NativeMessagingHosts/vorn.signing.json";
  const RegistrationRequest request{.browsers = {"chromium"}};
  EXPECT_EQ(brief(registerHost(places_, {.browsers = {"chromium"}, .dryRun = true}, kHost, {kIds}), true),
            Lines({"Chromium would write"}));
  EXPECT_EQ(files(), Lines());
  EXPECT_EQ(brief(add(request)), Lines({"Chromium written"}));
  const auto written = fs::last_write_time(home_.path() / file);
  EXPECT_EQ(brief(add(request)), Lines({"Chromium unchanged"}));
  EXPECT_EQ(fs::last_write_time(home_.path() / file), written);
  e2e::writeFile(home_.path() / file, "{");
  EXPECT_EQ(brief(add(request)), Lines({"Chromium written"}));
  EXPECT_EQ(text(file), e2e::readFile(VORN_GOLDEN "/chromium.json"));
  EXPECT_EQ(files(), Lines({file})) << "a temporary file was left";
}

TEST_F(Registration, KeepsTheExtensionsOfAManifestUnlessToldOtherwise) {
  make(".config/chromium");
  make(".config/google-chrome");
  const RegistrationRequest both{.browsers = {"chromium", "chrome"}};
  ASSERT_EQ(brief(registerHost(places_, {.browsers = {"chromium"}}, "/old", {kIds, true})),
            Lines({"Chromium written"}));
  const ExtensionIds other = readExtensionIds({kOtherId});
  const auto idsOf = [](const std::vector<ManifestChange>& changes) {
    return Lines({changes[0].ids[0], changes[1].ids[0]});
  };
  EXPECT_EQ(idsOf(registerHost(places_, both, kHost, {other})), Lines({kOtherId, kId}));
  EXPECT_EQ(text(".config/chromium/NativeMessagingHosts/vorn.signing.json"),
            e2e::readFile(VORN_GOLDEN "/chromium.json"));
  EXPECT_EQ(idsOf(registerHost(places_, both, kHost, {other, true})), Lines({kOtherId, kOtherId}));
  unregisterHost(places_, {.browsers = {"chrome"}});
  make(".config/google-chrome");
  EXPECT_EQ(idsOf(registerHost(places_, both, kHost, {})), Lines({kOtherId, kOtherId})) << "as the others";
}

TEST_F(Registration, WritesNothingForBrowsersWithoutAnExtension) {
  const auto changes = registerHost(places_, {.browsers = {"chrome", "firefox"}, .evenIfMissing = true},
                                    kHost, {readExtensionIds({"signing@example.com"})});
  EXPECT_EQ(brief(changes),
            Lines({"Chrome skipped", "Chrome Beta skipped", "Chrome Dev skipped", "Firefox written"}));
}

TEST_F(Registration, AChromiumWithAFolderOfItsOwnIsAsked) {
  const RegistrationRequest request{.dataFolder = (home_.path() / "data").string()};
  EXPECT_EQ(brief(add(request)), Lines({"Chromium written"}));
  EXPECT_EQ(files(), Lines({"data/NativeMessagingHosts/vorn.signing.json"}));
  EXPECT_EQ(brief(unregisterHost(places_, request)), Lines({"Chromium removed"}));
}

TEST_F(Registration, AFailureIsOneBrowsersOnly) {
  make(".config/chromium");
  make(".mozilla");
  e2e::writeFile(home_.path() / ".config/chromium/NativeMessagingHosts", "a file in the folder's place");
  const auto changes = add({.browsers = {"chromium", "firefox"}});
  EXPECT_EQ(brief(changes), Lines({"Chromium failed", "Firefox written"}));
  EXPECT_FALSE(changes[0].reason.empty());

  make("folder/in the place of the file");
  EXPECT_THROW(writeFileAtomically(home_.path() / "folder", "text"), std::system_error);
  EXPECT_EQ(files(), Lines({".config/chromium/NativeMessagingHosts",
                            ".mozilla/native-messaging-hosts/vorn.signing.json"}))
      << "a temporary file was left";
}

TEST_F(Registration, SystemFoldersComeAndGoWhole) {
  make("root/etc/opt");
  make("root/usr/lib64/mozilla");
  const RegistrationRequest request{.scope = Scope::kSystem};
  umask(077);
  add(request);
  umask(022);
  const fs::path folder = home_.path() / "root/etc/chromium/native-messaging-hosts";
  EXPECT_EQ(fs::status(folder / "vorn.signing.json").permissions(), fs::perms(0644))
      << "everybody's browser reads it";
  EXPECT_EQ(fs::status(folder.parent_path()).permissions(), fs::perms(0755));
  EXPECT_EQ(files(), Lines({"root/etc/chromium/native-messaging-hosts/vorn.signing.json",
                            "root/etc/opt/chrome/native-messaging-hosts/vorn.signing.json",
                            "root/etc/opt/edge/native-messaging-hosts/vorn.signing.json",
                            "root/usr/lib/mozilla/native-messaging-hosts/vorn.signing.json",
                            "root/usr/lib64/mozilla/native-messaging-hosts/vorn.signing.json"}));
  RegistrationRequest removal = request;
  removal.onlyOfHost = "/opt/other";
  EXPECT_EQ(brief(unregisterHost(places_, removal)).front(), "Chrome kept");
  removal.onlyOfHost = kHost;
  unregisterHost(places_, removal);
  EXPECT_EQ(files(), Lines());
  EXPECT_TRUE(fs::exists(home_.path() / "root/etc/opt"));
  EXPECT_FALSE(fs::exists(home_.path() / "root/etc/opt/chrome"));
}

TEST_F(Registration, RemovalKeepsWhatOthersRead) {
  make(".config/google-chrome");
  make(".config/opera");
  make(".config/chromium");
  add();
  const RegistrationRequest opera{.browsers = {"opera"}};
  const auto kept = unregisterHost(places_, opera);
  EXPECT_EQ(brief(kept), Lines({"Opera kept"}));
  EXPECT_EQ(kept[0].reason, "Chrome reads it too");
  EXPECT_EQ(brief(unregisterHost(places_, {.dryRun = true}), true),
            Lines({"Chrome would remove", "Chromium would remove"}));
  EXPECT_EQ(brief(unregisterHost(places_, {})), Lines({"Chrome removed", "Chromium removed"}));
  EXPECT_EQ(files(), Lines());
  EXPECT_FALSE(fs::exists(home_.path() / ".config/chromium")) << "a browser would seem to be there";
  EXPECT_EQ(brief(unregisterHost(places_, {})), Lines());
}

}  // namespace
}  // namespace vorn::vornctl
