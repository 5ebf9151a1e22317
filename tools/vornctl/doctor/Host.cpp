#include "vornctl/doctor/Host.h"

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <system_error>

#include "shared/messaging/FrameAssembler.h"
#include "vornctl/base/Terminal.h"

namespace vorn::vornctl {
namespace {

/** The longest answer that browsers accept; the host itself would send more. */
constexpr std::uint32_t kLongestAnswer = 1U << 30;
constexpr std::chrono::milliseconds kFarewell{2000};

/** A file without a name that takes what the host prints; null where none can be made. */
FILE* makeErrorFile() {
  FILE* const file = std::tmpfile();
  if (file != nullptr) fcntl(fileno(file), F_SETFD, FD_CLOEXEC);
  return file;
}

}  // namespace

HostConversation::HostConversation(const std::filesystem::path& program,
                                   const std::vector<std::string>& arguments,
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

}  // namespace vorn::vornctl
