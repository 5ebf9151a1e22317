#include "vornctl/doctor/Host.h"

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string_view>
#include <system_error>

#include "shared/base/Exceptions.h"
#include "shared/base/Platform.h"
#include "shared/base/Version.h"
#include "shared/messaging/FrameAssembler.h"
#include "vornctl/base/Terminal.h"
#include "vornctl/doctor/Doctor.h"
#include "vornctl/identities/Identities.h"

extern char** environ;

namespace vorn::vornctl {
namespace {

namespace fs = std::filesystem;

/** The longest answer that browsers accept; the host itself would send more. */
constexpr std::uint32_t kLongestAnswer = 1U << 30;
constexpr std::chrono::milliseconds kFarewell{2000};

/** A file without a name that takes what the host prints; null where none can be made. */
FILE* makeErrorFile() {
  FILE* const file = std::tmpfile();
  if (file != nullptr) fcntl(fileno(file), F_SETFD, FD_CLOEXEC);
  return file;
}

/** A temporary folder with everything that the user's home folder has, as links, but for the host's log: a
 * host that runs in it meets the user's key stores, and leaves no trace in the user's log. */
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

}  // namespace

HostConversation::HostConversation(const fs::path& program, const std::vector<std::string>& arguments,
                                   const std::optional<std::vector<std::string>>& environment)
    : errors_(makeErrorFile(), &std::fclose) {
  try {
    ChildStart start{.program = program,
                     .arguments = arguments,
                     .environment = environment,
                     .folder = program.parent_path()};
    if (errors_) start.errors = fileno(errors_.get());
    child_.emplace(start);
  } catch (const std::system_error& e) {
    throw HostError(program.string() + " cannot be started: " + e.code().message());
  }
}

jsonxx::Object HostConversation::ask(const jsonxx::Object& request, std::chrono::milliseconds patience) {
  const std::string text = request.json();
  if (text.size() > FrameAssembler::kMaximumLength) {
    throw HostError("the request has " + std::to_string(text.size()) + " bytes, the host takes " +
                    std::to_string(FrameAssembler::kMaximumLength));
  }
  const auto length = static_cast<std::uint32_t>(text.size());
  std::string prefix(sizeof length, '\0');
  std::memcpy(prefix.data(), &length, sizeof length);
  if (!child_->write(prefix + text)) failAtEnd();

  const auto deadline = ChildProcess::Clock::now() + patience;
  std::uint32_t answerLength = 0;
  std::memcpy(&answerLength, read(sizeof answerLength, deadline).data(), sizeof answerLength);
  if (answerLength > kLongestAnswer) throw HostError("the host's output is no message");
  jsonxx::Object answer;
  if (!answer.parse(read(answerLength, deadline)) || !answer.has<jsonxx::String>("result"))
    throw HostError("the host's answer is no answer of this protocol");
  return answer;
}

std::string HostConversation::read(std::size_t count, ChildProcess::Clock::time_point deadline) {
  std::string bytes;
  const ChildProcess::Read end = child_->read(bytes, count, deadline);
  if (end == ChildProcess::Read::kLate) throw HostError("the host runs but does not answer in time");
  if (end == ChildProcess::Read::kEnded) failAtEnd();
  return bytes;
}

void HostConversation::failAtEnd() {
  std::string message = "the host closed its output without an answer";
  if (child_->hasExitedWithin(kFarewell)) {
    const int status = child_->status();
    message =
        WIFSIGNALED(status)
            ? "the host was ended by signal " + std::to_string(WTERMSIG(status)) + " without an answer"
            : "the host ended with status " + std::to_string(WEXITSTATUS(status)) + " without an answer";
  }
  const std::string printed = errorOutput();
  throw HostError(printed.empty() ? message : message + "; it said: " + printed);
}

std::string HostConversation::errorOutput() const {
  char buffer[512];
  const ssize_t count = errors_ ? pread(fileno(errors_.get()), buffer, sizeof buffer, 0) : 0;
  std::string text(buffer, static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
  while (!text.empty() && text.back() == '\n') text.pop_back();
  return printable(text);
}

std::string textIn(const jsonxx::Object& answer, const char* member) {
  return answer.has<jsonxx::String>(member) ? answer.get<jsonxx::String>(member) : "";
}

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
    if (!search.has<jsonxx::Number>("error_code") ||
        search.get<jsonxx::Number>("error_code") != CertificateNotFoundException::kCode)
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
