#include "vornctl/browsers/BrowserTable.h"

#include <gtest/gtest.h>
#include <pwd.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <regex>

#include "e2e/Home.h"
#include "vornctl/browsers/BrowserPolicies.h"
#include "vornctl/browsers/ExtensionIds.h"

namespace vorn::vornctl {
namespace {

std::string textOf(Family family) {
  return family == Family::kFirefox ? "firefox" : "chromium";
}

/** The whole table: a line for every browser, and one below it for each place. */
std::string allBrowsers() {
  std::string text;
  const auto add = [&text](const char* column, const auto& paths) {
    for (const std::string_view path : paths)
      if (!path.empty()) text += std::string("  ") + column + " " + std::string(path) + "\n";
  };
  for (const System system : {System::kLinux, System::kMacOS}) {
    for (const Browser& browser : browsersOf(system)) {
      text += std::string(system == System::kLinux ? "linux " : "macos ") + textOf(browser.family) + " " +
              std::string(browser.name) + ": " + std::string(browser.title) + "\n";
      add("profile", browser.profiles);
      add("program", browser.programs);
      add("user   ", browser.userFolders);
      add("system ", browser.systemFolders);
      add("policies", browser.policies);
    }
  }
  for (const SandboxedBrowser& browser : sandboxedBrowsers()) {
    text += "sandbox " + std::string(browser.title) + (browser.reachesHost ? ", portal: " : ": ") +
            std::string(browser.folder) + "\n";
  }
  return text;
}

TEST(BrowserTable, IsThatOfTheGoldenFile) {
  EXPECT_EQ(allBrowsers(), e2e::readFile(VORN_GOLDEN "/browsers.txt"));
  const std::vector<std::string> names = {"chrome",  "chromium", "edge",   "brave",
                                          "vivaldi", "opera",    "firefox"};
  EXPECT_EQ(browserNames(), names);
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
    const BrowserPolicies policies(Places(System::kLinux, "/none", "/none", home.path()), *browser);
    const auto source = policies.forbiddingExtension(id);
    EXPECT_EQ(source ? source->policy : "", row.forbidding) << row.text;
  }
}

}  // namespace
}  // namespace vorn::vornctl
