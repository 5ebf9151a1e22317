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

// clang-format off
//
// The letter case of the folder names matters. What surprises:
// - Opera, and Brave on macOS, read the folders of Chrome; Brave and Vivaldi on Linux read its system folder.
// - Firefox may keep its profiles in ~/.config/mozilla (since 147) or in its snap, but reads manifests from ~/.mozilla.
// - Firefox on some distributions reads lib64 in the place of lib; Chromium on some /etc/chromium-browser.
// - Firefox reads policies beside its program only where there is no file in /etc, even if that one is broken.
constexpr Browser kLinux[] = {
  {System::kLinux, Family::kChromium, "chrome", "Chrome",
   {"~/.config/google-chrome"},
   {"/opt/google/chrome", "/usr/bin/google-chrome"},
   {"~/.config/google-chrome/NativeMessagingHosts"},
   {"/etc/opt/chrome/native-messaging-hosts"},
   {"/etc/opt/chrome/policies/managed"}},
  {System::kLinux, Family::kChromium, "chrome", "Chrome Beta",
   {"~/.config/google-chrome-beta"},
   {"/opt/google/chrome-beta"},
   {"~/.config/google-chrome-beta/NativeMessagingHosts"},
   {"/etc/opt/chrome/native-messaging-hosts"},
   {"/etc/opt/chrome/policies/managed"}},
  {System::kLinux, Family::kChromium, "chrome", "Chrome Dev",
   {"~/.config/google-chrome-unstable"},
   {"/opt/google/chrome-unstable"},
   {"~/.config/google-chrome-unstable/NativeMessagingHosts"},
   {"/etc/opt/chrome/native-messaging-hosts"},
   {"/etc/opt/chrome/policies/managed"}},
  {System::kLinux, Family::kChromium, "chromium", "Chromium",
   {"~/.config/chromium"},
   {"/usr/lib/chromium", "/usr/bin/chromium", "/usr/lib/chromium-browser"},
   {"~/.config/chromium/NativeMessagingHosts"},
   {"/etc/chromium/native-messaging-hosts", "/etc/chromium-browser/native-messaging-hosts"},
   {"/etc/chromium/policies/managed", "/etc/chromium-browser/policies/managed"}},
  {System::kLinux, Family::kChromium, "edge", "Edge",
   {"~/.config/microsoft-edge"},
   {"/opt/microsoft/msedge", "/usr/bin/microsoft-edge"},
   {"~/.config/microsoft-edge/NativeMessagingHosts"},
   {"/etc/opt/edge/native-messaging-hosts"},
   {"/etc/opt/edge/policies/managed"}},
  {System::kLinux, Family::kChromium, "edge", "Edge Beta",
   {"~/.config/microsoft-edge-beta"},
   {"/opt/microsoft/msedge-beta"},
   {"~/.config/microsoft-edge-beta/NativeMessagingHosts"},
   {"/etc/opt/edge/native-messaging-hosts"},
   {"/etc/opt/edge/policies/managed"}},
  {System::kLinux, Family::kChromium, "edge", "Edge Dev",
   {"~/.config/microsoft-edge-dev"},
   {"/opt/microsoft/msedge-dev"},
   {"~/.config/microsoft-edge-dev/NativeMessagingHosts"},
   {"/etc/opt/edge/native-messaging-hosts"},
   {"/etc/opt/edge/policies/managed"}},
  {System::kLinux, Family::kChromium, "brave", "Brave",
   {"~/.config/BraveSoftware/Brave-Browser"},
   {"/opt/brave.com/brave", "/usr/bin/brave-browser"},
   {"~/.config/BraveSoftware/Brave-Browser/NativeMessagingHosts"},
   {"/etc/opt/chrome/native-messaging-hosts"},
   {"/etc/brave/policies/managed"}},
  {System::kLinux, Family::kChromium, "vivaldi", "Vivaldi",
   {"~/.config/vivaldi"},
   {"/opt/vivaldi", "/usr/bin/vivaldi"},
   {"~/.config/vivaldi/NativeMessagingHosts"},
   {"/etc/opt/chrome/native-messaging-hosts"},
   {}},
  {System::kLinux, Family::kChromium, "opera", "Opera",
   {"~/.config/opera"},
   {"/usr/lib/x86_64-linux-gnu/opera", "/usr/lib/aarch64-linux-gnu/opera", "/usr/bin/opera"},
   {"~/.config/google-chrome/NativeMessagingHosts"},
   {"/etc/opt/chrome/native-messaging-hosts"},
   {}},
  {System::kLinux, Family::kFirefox, "firefox", "Firefox",
   {"~/.mozilla", "~/.config/mozilla", "~/snap/firefox"},
   {"/usr/bin/firefox", "/usr/bin/firefox-esr", "/snap/bin/firefox"},
   {"~/.mozilla/native-messaging-hosts"},
   {"/usr/lib/mozilla/native-messaging-hosts", "/usr/lib64/mozilla/native-messaging-hosts"},
   {"/etc/firefox/policies", "/usr/lib/firefox-esr/distribution", "/usr/lib/firefox/distribution", "/opt/firefox/distribution"}},
};

constexpr Browser kMacOS[] = {
  {System::kMacOS, Family::kChromium, "chrome", "Chrome",
   {"~/Library/Application Support/Google/Chrome"},
   {"/Applications/Google Chrome.app"},
   {"~/Library/Application Support/Google/Chrome/NativeMessagingHosts"},
   {"/Library/Google/Chrome/NativeMessagingHosts"},
   {}},
  {System::kMacOS, Family::kChromium, "chrome", "Chrome Beta",
   {"~/Library/Application Support/Google/Chrome Beta"},
   {"/Applications/Google Chrome Beta.app"},
   {"~/Library/Application Support/Google/Chrome Beta/NativeMessagingHosts"},
   {"/Library/Google/Chrome/NativeMessagingHosts"},
   {}},
  {System::kMacOS, Family::kChromium, "chromium", "Chromium",
   {"~/Library/Application Support/Chromium"},
   {"/Applications/Chromium.app"},
   {"~/Library/Application Support/Chromium/NativeMessagingHosts"},
   {"/Library/Application Support/Chromium/NativeMessagingHosts"},
   {}},
  {System::kMacOS, Family::kChromium, "edge", "Edge",
   {"~/Library/Application Support/Microsoft Edge"},
   {"/Applications/Microsoft Edge.app"},
   {"~/Library/Application Support/Microsoft Edge/NativeMessagingHosts"},
   {"/Library/Microsoft/Edge/NativeMessagingHosts"},
   {}},
  {System::kMacOS, Family::kChromium, "brave", "Brave",
   {"~/Library/Application Support/BraveSoftware/Brave-Browser"},
   {"/Applications/Brave Browser.app"},
   {"~/Library/Application Support/Google/Chrome/NativeMessagingHosts",
    "~/Library/Application Support/BraveSoftware/Brave-Browser/NativeMessagingHosts"},
   {"/Library/Google/Chrome/NativeMessagingHosts"},
   {}},
  {System::kMacOS, Family::kChromium, "vivaldi", "Vivaldi",
   {"~/Library/Application Support/Vivaldi"},
   {"/Applications/Vivaldi.app"},
   {"~/Library/Application Support/Vivaldi/NativeMessagingHosts"},
   {"/Library/Application Support/Vivaldi/NativeMessagingHosts"},
   {}},
  {System::kMacOS, Family::kChromium, "opera", "Opera",
   {"~/Library/Application Support/com.operasoftware.Opera"},
   {"/Applications/Opera.app"},
   {"~/Library/Application Support/Google/Chrome/NativeMessagingHosts"},
   {"/Library/Google/Chrome/NativeMessagingHosts"},
   {}},
  {System::kMacOS, Family::kFirefox, "firefox", "Firefox",
   {"~/Library/Application Support/Firefox", "~/Library/Application Support/Mozilla"},
   {"/Applications/Firefox.app"},
   {"~/Library/Application Support/Mozilla/NativeMessagingHosts"},
   {"/Library/Application Support/Mozilla/NativeMessagingHosts"},
   {}},
};

constexpr std::string_view kUsePackage =
    "A sandboxed browser of this family cannot start programs of the system: install the browser as a package of the "
    "distribution, or from its maker, and register again.";
constexpr std::string_view kUsePortal =
    "It starts the host through the desktop's portal and reads the manifest of the usual Firefox folder. Allow it when it "
    "asks; after a refusal: flatpak permission-set webextensions {host} snap.firefox yes";

constexpr SandboxedBrowser kSandboxed[] = {
  {"Firefox (snap)", "~/snap/firefox", true, kUsePortal},
  {"Chromium (snap)", "~/snap/chromium", false, kUsePackage},
  {"Brave (snap)", "~/snap/brave", false, kUsePackage},
  {"Opera (snap)", "~/snap/opera", false, kUsePackage},
  {"Firefox (flatpak)", "~/.var/app/org.mozilla.firefox", false, kUsePackage},
  {"Chrome (flatpak)", "~/.var/app/com.google.Chrome", false, kUsePackage},
  {"Chromium (flatpak)", "~/.var/app/org.chromium.Chromium", false, kUsePackage},
  {"Edge (flatpak)", "~/.var/app/com.microsoft.Edge", false, kUsePackage},
  {"Brave (flatpak)", "~/.var/app/com.brave.Browser", false, kUsePackage},
  {"Vivaldi (flatpak)", "~/.var/app/com.vivaldi.Vivaldi", false, kUsePackage},
  {"Opera (flatpak)", "~/.var/app/com.opera.Opera", false, kUsePackage},
};

// Folders that are not a browser's own.
constexpr std::string_view kCommon[] = {
  "~", "~/.config", "~/Library", "~/Library/Application Support", "/", "/etc", "/etc/opt", "/usr", "/usr/lib",
  "/usr/lib64", "/Library", "/Library/Application Support",
};
// clang-format on

bool isThere(const fs::path& path) {
  std::error_code unreadable;
  return fs::exists(path, unreadable);
}

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
  return resolve(scope == Scope::kUser ? browser.userFolders : browser.systemFolders);
}

bool Places::has(const Browser& browser) const {
  const std::vector<fs::path> profiles = resolve(browser.profiles);
  const std::vector<fs::path> programs = resolve(browser.programs);
  return std::any_of(profiles.begin(), profiles.end(), isThere) ||
         std::any_of(programs.begin(), programs.end(), isThere);
}

std::vector<fs::path> Places::policyFolders(const Browser& browser) const {
  return resolve(browser.policies);
}

bool Places::isCommon(const fs::path& folder) const {
  return std::any_of(std::begin(kCommon), std::end(kCommon),
                     [&](std::string_view path) { return resolve(path) == folder; });
}

}  // namespace vorn::vornctl
