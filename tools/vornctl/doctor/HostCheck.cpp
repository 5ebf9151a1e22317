#include <unistd.h>

#include <cstdlib>
#include <string_view>
#include <system_error>

#include "shared/base/Exceptions.h"
#include "shared/base/Platform.h"
#include "shared/base/Version.h"
#include "vornctl/doctor/Checks.h"
#include "vornctl/doctor/Host.h"
#include "vornctl/identities/Identities.h"

extern char** environ;

namespace vorn::vornctl {
namespace {

namespace fs = std::filesystem;

/**
 * A temporary folder with everything that the user's home folder has, as links, but for the host's log: a
 * host that runs in it meets the user's key stores, and leaves no trace in the user's log.
 */
class StandInHome {
 public:
  StandInHome() {
    std::error_code failure;
    std::string pattern = (fs::temp_directory_path(failure) / "vornctl-XXXXXX").string();
    if (failure || mkdtemp(pattern.data()) == nullptr) return;
    folder_ = pattern;
    for (const auto& entry : fs::directory_iterator(home_, failure))
      if (const fs::path name = entry.path().filename(); name != "vorn-signing.log")
        fs::create_symlink(entry.path(), fs::path(folder_) / name, failure);
  }
  ~StandInHome() {
    std::error_code failure;
    if (folder_ != kNowhere) fs::remove_all(folder_, failure);
  }
  StandInHome(const StandInHome&) = delete;
  StandInHome& operator=(const StandInHome&) = delete;

  /** This program's environment, but with this folder for the home; of the form NAME=value. */
  std::vector<std::string> environment() const {
    std::vector<std::string> variables = {kHome + folder_};
    for (char** variable = environ; *variable != nullptr; ++variable)
      if (!std::string_view(*variable).starts_with(kHome)) variables.emplace_back(*variable);
    return variables;
  }
  /** The text with the name of the home in the place of this folder's. */
  std::string withoutTrace(std::string text) const {
    for (std::size_t at = 0; (at = text.find(folder_, at)) != std::string::npos; at += home_.size())
      text.replace(at, folder_.size(), home_);
    return text;
  }

 private:
  static constexpr const char* kHome = "HOME=";
  static constexpr const char* kNowhere = "/nonexistent";  // where no folder can be made

  const std::string home_ = platform::homeFolder();
  std::string folder_ = kNowhere;
};

std::string textIn(const jsonxx::Object& answer, const char* member) {
  return answer.has<jsonxx::String>(member) ? answer.get<jsonxx::String>(member) : "";
}

}  // namespace

std::vector<Finding> checkHost(const HostStart& start, bool searches, std::chrono::milliseconds patience) {
  const std::string host = start.host.string();
  std::vector<Finding> findings;
  const auto add = [&](Severity severity, Fault fault) {
    findings.push_back({std::move(fault), severity, {"host"}, {host}});
  };
  const StandInHome home;
  try {
    HostConversation process(start.host, start.arguments, home.environment());
    const jsonxx::Object answer = process.ask(jsonxx::Object("type", "version"), patience);
    const std::string version = textIn(answer, "version");
    add(Severity::kFine, {code::kHostAnswers, "answers, version " + version, ""});
    if (version != version::kFull)
      add(Severity::kNote,
          {code::kHostVersion, "the host has version " + version + ", this program " + version::kFull,
           "install both from one package"});
    if (!searches) return findings;
    // A user whom nobody has: the host answers that there is none once it has looked.
    jsonxx::Object request("type", "version");
    request.import("user_details", detailsOf({"vornctl doctor", "nobody@invalid", "0", {"00"}}));
    const jsonxx::Object search = process.ask(request, 2 * patience);
    const bool searched = search.has<jsonxx::Number>("error_code") &&
                          search.get<jsonxx::Number>("error_code") == CertificateNotFoundException::kCode;
    if (!searched)
      add(Severity::kProblem,
          {code::kHostSearchFailed,
           "the host cannot search for certificates: " + home.withoutTrace(textIn(search, "error_message")),
           "install the host again; vorn-signing.log in your home folder may tell more"});
  } catch (const HostError& e) {
    add(Severity::kProblem, {code::kHostSilent, home.withoutTrace(e.what()), "install the host again"});
  }
  return findings;
}

}  // namespace vorn::vornctl
