#include "vornctl/browsers/BrowserTable.h"

#include <algorithm>
#include <iterator>
#include <system_error>
#include <utility>

#include "shared/base/Platform.h"
#include "vornctl/base/BuildSettings.h"

namespace vorn::vornctl {
namespace {

namespace fs = std::filesystem;
using enum Family;

// clang-format off
// The letter case of the folder names matters. What surprises:
// - Opera, and Brave on macOS, read the folders of Chrome; Brave and Vivaldi on Linux read its system folder.
// - Firefox may keep its profiles in ~/.config/mozilla (since 147) or in its snap, but reads manifests from ~/.mozilla.
// - Firefox on some distributions reads lib64 in the place of lib; Chromium on some /etc/chromium-browser.
// - Firefox reads policies beside its program only where there is no file in /etc, even if that one is broken.
// - Chromium's family has a user's manifests in NativeMessagingHosts of the profile where no other folder is given.
constexpr Browser kLinux[] = {
  {kChromium, "chrome", "Chrome", {"~/.config/google-chrome"}, {"/opt/google/chrome", "/usr/bin/google-chrome"}, {},
   {"/etc/opt/chrome/native-messaging-hosts"}, {"/etc/opt/chrome/policies/managed"}},
  {kChromium, "chrome", "Chrome Beta", {"~/.config/google-chrome-beta"}, {"/opt/google/chrome-beta"}, {},
   {"/etc/opt/chrome/native-messaging-hosts"}, {"/etc/opt/chrome/policies/managed"}},
  {kChromium, "chrome", "Chrome Dev", {"~/.config/google-chrome-unstable"}, {"/opt/google/chrome-unstable"}, {},
   {"/etc/opt/chrome/native-messaging-hosts"}, {"/etc/opt/chrome/policies/managed"}},
  {kChromium, "chromium", "Chromium", {"~/.config/chromium"},
   {"/usr/lib/chromium", "/usr/bin/chromium", "/usr/lib/chromium-browser"}, {},
   {"/etc/chromium/native-messaging-hosts", "/etc/chromium-browser/native-messaging-hosts"},
   {"/etc/chromium/policies/managed", "/etc/chromium-browser/policies/managed"}},
  {kChromium, "edge", "Edge", {"~/.config/microsoft-edge"}, {"/opt/microsoft/msedge", "/usr/bin/microsoft-edge"}, {},
   {"/etc/opt/edge/native-messaging-hosts"}, {"/etc/opt/edge/policies/managed"}},
  {kChromium, "edge", "Edge Beta", {"~/.config/microsoft-edge-beta"}, {"/opt/microsoft/msedge-beta"}, {},
   {"/etc/opt/edge/native-messaging-hosts"}, {"/etc/opt/edge/policies/managed"}},
  {kChromium, "edge", "Edge Dev", {"~/.config/microsoft-edge-dev"}, {"/opt/microsoft/msedge-dev"}, {},
   {"/etc/opt/edge/native-messaging-hosts"}, {"/etc/opt/edge/policies/managed"}},
  {kChromium, "brave", "Brave", {"~/.config/BraveSoftware/Brave-Browser"}, {"/opt/brave.com/brave", "/usr/bin/brave-browser"},
   {}, {"/etc/opt/chrome/native-messaging-hosts"}, {"/etc/brave/policies/managed"}},
  {kChromium, "vivaldi", "Vivaldi", {"~/.config/vivaldi"}, {"/opt/vivaldi", "/usr/bin/vivaldi"}, {},
   {"/etc/opt/chrome/native-messaging-hosts"}, {}},
  {kChromium, "opera", "Opera", {"~/.config/opera"},
   {"/usr/lib/x86_64-linux-gnu/opera", "/usr/lib/aarch64-linux-gnu/opera", "/usr/bin/opera"},
   {"~/.config/google-chrome/NativeMessagingHosts"}, {"/etc/opt/chrome/native-messaging-hosts"}, {}},
  {kFirefox, "firefox", "Firefox", {"~/.mozilla", "~/.config/mozilla", "~/snap/firefox"},
   {"/usr/bin/firefox", "/usr/bin/firefox-esr", "/snap/bin/firefox"}, {"~/.mozilla/native-messaging-hosts"},
   {"/usr/lib/mozilla/native-messaging-hosts", "/usr/lib64/mozilla/native-messaging-hosts"},
   {"/etc/firefox/policies", "/usr/lib/firefox-esr/distribution", "/usr/lib/firefox/distribution", "/opt/firefox/distribution"}},
};

constexpr Browser kMacOS[] = {
  {kChromium, "chrome", "Chrome", {"~/Library/Application Support/Google/Chrome"}, {"/Applications/Google Chrome.app"}, {},
   {"/Library/Google/Chrome/NativeMessagingHosts"}, {}},
  {kChromium, "chrome", "Chrome Beta", {"~/Library/Application Support/Google/Chrome Beta"},
   {"/Applications/Google Chrome Beta.app"}, {}, {"/Library/Google/Chrome/NativeMessagingHosts"}, {}},
  {kChromium, "chromium", "Chromium", {"~/Library/Application Support/Chromium"}, {"/Applications/Chromium.app"}, {},
   {"/Library/Application Support/Chromium/NativeMessagingHosts"}, {}},
  {kChromium, "edge", "Edge", {"~/Library/Application Support/Microsoft Edge"}, {"/Applications/Microsoft Edge.app"}, {},
   {"/Library/Microsoft/Edge/NativeMessagingHosts"}, {}},
  {kChromium, "brave", "Brave", {"~/Library/Application Support/BraveSoftware/Brave-Browser"},
   {"/Applications/Brave Browser.app"},
   {"~/Library/Application Support/Google/Chrome/NativeMessagingHosts", "~/Library/Application Support/BraveSoftware/Brave-Browser/NativeMessagingHosts"},
   {"/Library/Google/Chrome/NativeMessagingHosts"}, {}},
  {kChromium, "vivaldi", "Vivaldi", {"~/Library/Application Support/Vivaldi"}, {"/Applications/Vivaldi.app"}, {},
   {"/Library/Application Support/Vivaldi/NativeMessagingHosts"}, {}},
  {kChromium, "opera", "Opera", {"~/Library/Application Support/com.operasoftware.Opera"}, {"/Applications/Opera.app"},
   {"~/Library/Application Support/Google/Chrome/NativeMessagingHosts"}, {"/Library/Google/Chrome/NativeMessagingHosts"}, {}},
  {kFirefox, "firefox", "Firefox", {"~/Library/Application Support/Firefox", "~/Library/Application Support/Mozilla"},
   {"/Applications/Firefox.app"}, {"~/Library/Application Support/Mozilla/NativeMessagingHosts"},
   {"/Library/Application Support/Mozilla/NativeMessagingHosts"}, {}},
};

constexpr SandboxedBrowser kSandboxed[] = {
  {"Firefox (snap)", "~/snap/firefox", true},
  {"Chromium (snap)", "~/snap/chromium"},
  {"Brave (snap)", "~/snap/brave"},
  {"Opera (snap)", "~/snap/opera"},
  {"Firefox (flatpak)", "~/.var/app/org.mozilla.firefox"},
  {"Chrome (flatpak)", "~/.var/app/com.google.Chrome"},
  {"Chromium (flatpak)", "~/.var/app/org.chromium.Chromium"},
  {"Edge (flatpak)", "~/.var/app/com.microsoft.Edge"},
  {"Brave (flatpak)", "~/.var/app/com.brave.Browser"},
  {"Vivaldi (flatpak)", "~/.var/app/com.vivaldi.Vivaldi"},
  {"Opera (flatpak)", "~/.var/app/com.opera.Opera"},
};

// Folders that are not a browser's own.
constexpr std::string_view kCommon[] = {
  "~", "~/.config", "~/Library", "~/Library/Application Support", "/", "/etc", "/etc/opt", "/usr", "/usr/lib",
  "/usr/lib64", "/Library", "/Library/Application Support",
};
// clang-format on

}  // namespace

System buildSystem() {
  return settings::kSystem;
}

std::span<const Browser> browsersOf(System system) {
  return system == System::kLinux ? std::span<const Browser>(kLinux) : std::span<const Browser>(kMacOS);
}

std::vector<std::string> browserNames() {
  std::vector<std::string> names;
  for (const Browser& browser : kLinux)
    if (names.empty() || names.back() != browser.name) names.emplace_back(browser.name);
  return names;
}

std::span<const SandboxedBrowser> sandboxedBrowsers() {
  return kSandboxed;
}

Places::Places(System system, fs::path home, fs::path config, fs::path root)
    : system_(system), home_(std::move(home)), config_(std::move(config)), root_(std::move(root)) {}

Places Places::ofUser(System system, const fs::path& root) {
  const fs::path home = platform::homeFolder();
  return {system, home, platform::baseFolder("XDG_CONFIG_HOME", ".config"), root};
}

fs::path Places::resolve(std::string_view tablePath) const {
  constexpr std::string_view kHome = "~";
  constexpr std::string_view kConfig = "~/.config";
  const auto below = [tablePath](const fs::path& folder, std::string_view start) {
    const std::string_view rest = tablePath.substr(start.size());
    return rest.empty() ? folder : folder / rest.substr(1);
  };
  if (tablePath.starts_with(kConfig)) return below(config_, kConfig);
  if (tablePath.starts_with(kHome)) return below(home_, kHome);
  return root_ / tablePath.substr(1);
}

std::vector<fs::path> Places::resolve(std::span<const std::string_view> tablePaths) const {
  std::vector<fs::path> paths;
  for (const std::string_view path : tablePaths)
    if (!path.empty()) paths.push_back(resolve(path));
  return paths;
}

std::vector<fs::path> Places::manifestFolders(const Browser& browser, Scope scope) const {
  if (scope == Scope::kUser && browser.userFolders.front().empty())
    return {resolve(browser.profiles.front()) / kFolderOfChromium};
  return resolve(scope == Scope::kUser ? browser.userFolders : browser.systemFolders);
}

bool Places::has(const Browser& browser) const {
  const auto isThere = [this](std::string_view path) {
    std::error_code unreadable;
    return !path.empty() && fs::exists(resolve(path), unreadable);
  };
  return std::any_of(browser.profiles.begin(), browser.profiles.end(), isThere) ||
         std::any_of(browser.programs.begin(), browser.programs.end(), isThere);
}

bool Places::isCommon(const fs::path& folder) const {
  return std::any_of(std::begin(kCommon), std::end(kCommon),
                     [&](std::string_view path) { return resolve(path) == folder; });
}

}  // namespace vorn::vornctl
