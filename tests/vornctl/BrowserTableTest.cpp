#include "vornctl/BrowserTable.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "e2e/Home.h"
#include "vornctl/ExtensionIds.h"

namespace vorn::vornctl {
namespace {

/** One line for every folder: system, scope, browser, path. */
std::string allFolders() {
  std::string text;
  for (const System system : {System::kLinux, System::kMacOS}) {
    const Places places(system, "/home/jane", "/home/jane/.config", "/");
    for (const Scope scope : {Scope::kUser, Scope::kSystem}) {
      for (const Browser& browser : browsersOf(system)) {
        for (const auto& folder : places.manifestFolders(browser, scope)) {
          text += std::string(system == System::kLinux ? "linux" : "macos") +
                  (scope == Scope::kUser ? " user   " : " system ") + std::string(browser.title) + ": " +
                  folder.string() + "\n";
        }
      }
    }
  }
  return text;
}

TEST(BrowserTable, FoldersAreThoseOfTheGoldenFile) {
  EXPECT_EQ(allFolders(), e2e::readFile(VORN_GOLDEN "/folders.txt"));
}

TEST(BrowserTable, EveryBrowserIsThereOnBothSystems) {
  const std::vector<std::string> names = {"chrome",  "chromium", "edge",   "brave",
                                          "vivaldi", "opera",    "firefox"};
  EXPECT_EQ(browserNames(), names);
  for (const System system : {System::kLinux, System::kMacOS}) {
    for (const std::string& name : names) {
      const auto browsers = browsersOf(system);
      EXPECT_TRUE(std::any_of(browsers.begin(), browsers.end(), [&](const Browser& browser) {
        return browser.name == name;
      })) << name;
    }
  }
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

}  // namespace
}  // namespace vorn::vornctl
