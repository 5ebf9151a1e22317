#pragma once

#include <array>
#include <filesystem>
#include <span>
#include <string>
#include <string_view>
#include <vector>

/** The folders in which each browser, on each system, looks for the manifests of native-messaging hosts. */
namespace vorn::vornctl {

enum class System { kLinux, kMacOS };
enum class Scope { kUser, kSystem };
/** The browser's ancestor, which decides on the form of the manifest and the rules of the search. */
enum class Family { kChromium, kFirefox };

/** The folder for manifests in a profile of Chromium's family. */
inline constexpr const char* kFolderOfChromium = "NativeMessagingHosts";

/** The system that this program was built for. */
System buildSystem();

/** One line of the table. Paths are written as for a user without special settings: "~/.config" stands for
 * the folder that XDG_CONFIG_HOME names. Empty places are unused. */
struct Browser {
  Family family;
  std::string_view name;                    /**< as people select it; the channels of one browser share it */
  std::string_view title;                   /**< as people read it */
  std::array<std::string_view, 3> profiles; /**< one of them exists once the browser has run */
  std::array<std::string_view, 3> programs; /**< one of them exists where the browser is installed */
  /** In the order of the search. The first is always written, the second where the folder that holds it
   * exists. None of a user's: kFolderOfChromium in the profile. */
  std::array<std::string_view, 2> userFolders;
  std::array<std::string_view, 2> systemFolders;
  std::array<std::string_view, 4> policies; /**< folders of an administrator's policies, in JSON */

  /** Whether it is a preview, which few people have: "Chrome Beta". */
  bool isChannel() const { return title.ends_with(" Beta") || title.ends_with(" Dev"); }
};

/** All browsers of a system, channels of one browser together. */
std::span<const Browser> browsersOf(System system);

/** The names for selecting, each once. */
std::vector<std::string> browserNames();

/** A browser in a sandbox, known by a folder that it makes in the user's home. Linux only. */
struct SandboxedBrowser {
  std::string_view title;
  std::string_view folder;
  bool reachesHost = false; /**< whether the usual manifest of the browser works */
};

std::span<const SandboxedBrowser> sandboxedBrowsers();

/** The folders that the paths of the table are relative to. */
class Places {
 public:
  /** `root` stands before the paths outside of the home: "/", or the folder
   * in which a package is put together. */
  Places(System system, std::filesystem::path home, std::filesystem::path config, std::filesystem::path root);

  /** The places of the user who runs the program: HOME (or the user's entry) and XDG_CONFIG_HOME. */
  static Places ofUser(System system, const std::filesystem::path& root = "/");

  System system() const { return system_; }
  const std::filesystem::path& home() const { return home_; }
  std::filesystem::path resolve(std::string_view tablePath) const;
  /** The folders that the table's paths name, without those that are not used. */
  std::vector<std::filesystem::path> resolve(std::span<const std::string_view> tablePaths) const;
  std::vector<std::filesystem::path> manifestFolders(const Browser& browser, Scope scope) const;
  /** Whether the user has run the browser or it is installed. */
  bool has(const Browser& browser) const;
  /** Whether a folder is of the system's or of all programs' making, so that it stays even when it is empty.
   */
  bool isCommon(const std::filesystem::path& folder) const;

 private:
  System system_;
  std::filesystem::path home_;
  std::filesystem::path config_;
  std::filesystem::path root_;
};

}  // namespace vorn::vornctl
