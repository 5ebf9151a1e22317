#pragma once

#include <chrono>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "vornctl/base/Fault.h"
#include "vornctl/browsers/HostManifest.h"

/** Looks for what keeps a page from having a document signed. */
namespace vorn::vornctl {

enum class Severity { kFine, kNote, kProblem };

/** If fine, the cause is what was found, and the remedy is empty. */
struct Finding : Fault {
  Severity severity;
  std::vector<std::string> subjects; /**< the browsers, or other parts, that it concerns */
  std::vector<std::string> files = {};
  std::vector<std::string> extensions = {}; /**< that may start the host */
};

/** Checks the registration with every browser that is there, starts the host as the browsers would, and looks
 * into the key store. What merely follows from another finding is left out, and one cause is one finding,
 * however many browsers it concerns. `wanted` are the extensions that the user wants to sign with. Writes
 * nothing, not even into the host's log. */
std::vector<Finding> examine(const Places& places, const std::filesystem::path& installedHost,
                             const ExtensionIds& wanted);

// The single checks. A fault that is none is one that nobody has found.

/** A manifest as a browser of the family reads it. What a fault without a remedy needs is a new manifest. */
struct ManifestCheck {
  std::vector<Fault> refusals = {}; /**< for which the browser takes the manifest for none */
  std::vector<Fault> faults = {};   /**< of the host that it names, and of who may change it */
  std::vector<Fault> oddities = {}; /**< what does no harm to others in it */
  std::filesystem::path host = {};
  std::vector<std::string> extensions = {}; /**< ids of those that may start the host */

  bool isGood() const { return refusals.empty() && faults.empty(); }
};

/** None where there is no such file. `installedHost` is the host that the remedies name. */
std::optional<ManifestCheck> checkManifest(const std::filesystem::path& file, Family family,
                                           const std::filesystem::path& installedHost);

/** What keeps the program from being started. */
std::optional<Fault> checkProgram(const std::filesystem::path& program,
                                  const std::filesystem::path& installedHost);

/** How a browser would start a host. */
struct HostStart {
  std::filesystem::path host;
  std::vector<std::string> arguments;
};

/** The result of checking how one browser reads its manifests and an administrator's policies. */
struct BrowserReport {
  bool registered = false; /**< it finds a manifest, be that good or not */
  std::vector<Finding> findings = {};
  std::vector<HostStart> starts = {}; /**< as the browser would start the hosts of good manifests */
};

/** `wanted` are the extensions that the user wants to sign with, of any family; none when nobody has said. */
BrowserReport checkBrowser(const Places& places, const Browser& browser,
                           const std::filesystem::path& installedHost, const ExtensionIds& wanted);

/** Starts the host, asks for its version and, if it `searches`, has it look for a certificate, for which it
 * opens its signing module and reads cards. The version is waited for so long, the search twice that. The
 * user's log stays as it is. */
std::vector<Finding> checkHost(const HostStart& start, bool searches = true,
                               std::chrono::milliseconds patience = std::chrono::seconds(10));

/** Looks for the user's key store and for an identity in it that could sign. Each system has its own. */
std::vector<Finding> checkKeyStore();

/** What keeps the host from writing its log into this home folder. Writes nothing. */
std::optional<Fault> checkLog(const std::filesystem::path& home);

/** Who besides the user and root can change what is found under this path: the file, or any folder on the way
 * to it, links followed. A folder in which everybody may make files is no harm if it is sticky, as /tmp is; a
 * group is none if nobody but the owner is in it, and there is no access list. None where there is no such
 * file. */
std::optional<Fault> findForeignWriter(const std::filesystem::path& file);

/** The same for a host and the libraries and programs beside it, all of which it uses. */
std::optional<Fault> findForeignWriterOfHost(const std::filesystem::path& host);

/** Whether the bits of the group are the mask of an access list. Each system has its own. */
bool hasAccessList(const std::filesystem::path& file);

}  // namespace vorn::vornctl
