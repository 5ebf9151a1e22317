#include "vornctl/browsers/BrowserTable.h"

#include <gtest/gtest.h>
#include <pwd.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <regex>
#include <set>

#include "e2e/Home.h"
#include "vornctl/browsers/BrowserFamily.h"
#include "vornctl/browsers/HostManifest.h"

namespace vorn::vornctl {
namespace {

/** What the rest relies on in each row; browserNames() asks the one of Linux alone. */
TEST(BrowserTable, RowsAreWellFormed) {
  for (const System system : {System::kLinux, System::kMacOS}) {
    std::vector<std::string> names;
    std::set<std::string_view> titles;
    for (const Browser& browser : browsersOf(system)) {
      if (names.empty() || names.back() != browser.name) names.emplace_back(browser.name);
      EXPECT_TRUE(titles.insert(browser.title).second) << browser.title;
      EXPECT_TRUE(browser.profiles.front().starts_with("~/")) << browser.title;
      const auto expectPaths = [&](const auto& paths, const char* starts) {
        for (const std::string_view path : paths)
          EXPECT_TRUE(path.empty() || (path.find_first_of(starts) == 0 && !path.ends_with('/'))) << path;
      };
      expectPaths(browser.profiles, "~");
      expectPaths(browser.userFolders, "~");
      expectPaths(browser.programs, "/");
      expectPaths(browser.systemFolders, "/");
      expectPaths(browser.policies, "/");
    }
    EXPECT_EQ(names, browserNames());
    EXPECT_EQ(std::set<std::string>(names.begin(), names.end()).size(), names.size()) << "rows stand apart";
  }
}

TEST(BrowserTable, SomeReadTheFoldersOfOthers) {
  const struct {
    System system;
    Scope scope;
    std::string_view title;
    std::vector<std::filesystem::path> folders;
  } rows[] = {
      {System::kLinux, Scope::kUser, "Edge Dev", {"/h/.config/microsoft-edge-dev/NativeMessagingHosts"}},
      {System::kLinux, Scope::kUser, "Opera", {"/h/.config/google-chrome/NativeMessagingHosts"}},
      {System::kLinux, Scope::kUser, "Firefox", {"/h/.mozilla/native-messaging-hosts"}},
      {System::kLinux, Scope::kSystem, "Brave", {"/etc/opt/chrome/native-messaging-hosts"}},
      {System::kMacOS,
       Scope::kUser,
       "Brave",
       {"/h/Library/Application Support/Google/Chrome/NativeMessagingHosts",
        "/h/Library/Application Support/BraveSoftware/Brave-Browser/NativeMessagingHosts"}},
      {System::kMacOS, Scope::kSystem, "Opera", {"/Library/Google/Chrome/NativeMessagingHosts"}}};
  for (const auto& row : rows) {
    const auto browsers = browsersOf(row.system);
    const auto browser = std::find_if(browsers.begin(), browsers.end(),
                                      [&row](const Browser& one) { return one.title == row.title; });
    ASSERT_NE(browser, browsers.end());
    EXPECT_EQ(Places(row.system, "/h", "/h/.config", "/").manifestFolders(*browser, row.scope), row.folders);
  }
}

/** Every place of the user hangs from it. */
TEST(BrowserTable, HomeIsFoundHoweverItIsSet) {
  const std::string before = getenv("HOME");
  setenv("HOME", "/home/jane//", 1);
  EXPECT_EQ(Places::ofUser(System::kLinux).home(), "/home/jane");
  setenv("HOME", "/", 1);
  EXPECT_EQ(Places::ofUser(System::kLinux).home(), "/");
  setenv("HOME", "", 1);
  EXPECT_EQ(Places::ofUser(System::kLinux).home(), getpwuid(getuid())->pw_dir);
  setenv("HOME", before.c_str(), 1);
}

TEST(BrowserTable, PathsFollowConfigurationFolderAndRoot) {
  const Places places(System::kLinux, "/home/jane", "/data/settings", "/staging");
  const struct {
    const char* path;
    const char* resolved;
  } rows[] = {{"~/.config/chromium", "/data/settings/chromium"},
              {"~/.mozilla", "/home/jane/.mozilla"},
              {"~", "/home/jane"},
              {"/etc/chromium", "/staging/etc/chromium"}};
  for (const auto& row : rows) EXPECT_EQ(places.resolve(row.path), row.resolved) << row.path;
}

TEST(ExtensionIds, AreToldApartOrRefusedWithTheReason) {
  const std::string letters = "abcdefghijklmnopabcdefghijklmnop";
  const std::pair<std::string, Family> good[] = {
      {letters, Family::kChromium},
      {"signing@example.com", Family::kFirefox},
      {"@signing", Family::kFirefox},
      {"{01234567-89ab-CDEF-0123-456789abcdef}", Family::kFirefox}};
  for (const auto& [id, family] : good) EXPECT_EQ(familyOfExtension(id), family) << id;

  const std::pair<std::string, std::string> bad[] = {{"", "empty"},
                                                     {"*", "wildcard"},
                                                     {letters.substr(1), "it has 31"},
                                                     {letters + "a", "it has 33"},
                                                     {"q" + letters.substr(1), "\"q\""},
                                                     {"A" + letters.substr(1), "\"A\""},
                                                     {"chrome-extension://" + letters + "/", "id alone"},
                                                     {"two words@example.com", "name@domain"},
                                                     {"{01234567}", "name@domain"}};
  for (const auto& [id, reason] : bad) {
    try {
      familyOfExtension(id);
      ADD_FAILURE() << id << " was taken";
    } catch (const BadExtensionId& e) {
      EXPECT_NE(std::string(e.what()).find(reason), std::string::npos) << e.what();
    }
  }
}

TEST(DoctorPolicies, AreWeighedAsTheBrowserWeighsThem) {
  const std::string id = "abcdefghijklmnopabcdefghijklmnop";
  const std::string chromium = "etc/chromium/policies/managed/p.json";
  const std::string firefox = "etc/firefox/policies/policies.json";
  const struct {
    std::string file;
    std::string text; /**< with ID for the extension's */
    std::string forbidding;
    std::string before = {}; /**< of another file, which is read first */
  } rows[] = {
      {chromium, R"({"ExtensionInstallBlocklist": ["x"]})", "", R"({"ExtensionInstallBlocklist": ["ID"]})"},
      {chromium, R"({"ExtensionSettings": {"x,ID,y": {"installation_mode": "removed"}}})",
       "ExtensionSettings"},
      {chromium, R"({"ExtensionAllowedTypes": ["theme"], "ExtensionInstallForcelist": ["ID;x"]})",
       "ExtensionAllowedTypes"},
      {chromium, R"({"ExtensionAllowedTypes": ["theme", "extension"]})", ""},
      {chromium,
       R"({"ExtensionSettings": {"*": {"allowed_types": ["theme"]}, "ID": {"installation_mode": "allowed"}}})",
       "ExtensionSettings"},
      {chromium, R"({"ExtensionInstallBlocklist": ["ID"], "ExtensionInstallAllowlist": ["ID"]})",
       "ExtensionInstallBlocklist"},
      {chromium, R"({"ExtensionInstallBlocklist": ["ID"], "ExtensionInstallForcelist": ["ID"]})", ""},
      {chromium, R"({"ExtensionInstallBlocklist": ["*"], "ExtensionInstallAllowlist": ["ID"]})", ""},
      {chromium,
       R"({"ExtensionInstallBlocklist": ["ID"], "ExtensionSettings": {"ID": {"installation_mode": "allowed"}}})",
       ""},
      {chromium,
       R"({"ExtensionInstallBlocklist": ["*"], "ExtensionSettings": {"*": {"installation_mode": "allowed"}}})",
       ""},
      {chromium,
       R"({"ExtensionInstallAllowlist": ["ID"], "ExtensionSettings": {"*": {"installation_mode": "blocked"}}})",
       ""},
      {chromium,
       R"({"ExtensionSettings": {"*": {"installation_mode": "blocked"}, "ID": {"toolbar_pin": "default"}}})",
       "ExtensionSettings"},
      {firefox,
       R"({"policies": {"ExtensionSettings": {"*": {"installation_mode": "blocked"}, "ID": {"more": 1}}}})",
       ""},
      {firefox, R"({"policies": {"ExtensionSettings": {"*": {"installation_mode": "blocked"}}}})",
       "ExtensionSettings"},
  };
  for (const auto& row : rows) {
    const e2e::Home home;
    std::filesystem::create_directories((home.path() / row.file).parent_path());
    std::ofstream(home.path() / row.file) << std::regex_replace(row.text, std::regex("ID"), id);
    const auto browsers = browsersOf(System::kLinux);
    const auto browser = std::find_if(browsers.begin(), browsers.end(), [&row](const Browser& one) {
      return row.file.find(one.name) != std::string::npos;
    });
    const Places places(System::kLinux, "/none", "/none", home.path());
    const auto policies = rulesOf(browser->family).readPolicies(places.resolve(browser->policies));
    const auto source = policies->forbiddingExtension(id);
    EXPECT_EQ(source ? source->policy : "", row.forbidding) << row.text;
  }
}

}  // namespace
}  // namespace vorn::vornctl
