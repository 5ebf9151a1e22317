#include "vornctl/HostProcess.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <iterator>
#include <system_error>
#include <thread>

#include "shared/messaging/FrameAssembler.h"
#include "vornctl/Terminal.h"

extern char** environ;

namespace vorn::vornctl {
namespace {

using Clock = std::chrono::steady_clock;

/** What browsers accept; the host itself would send more. */
constexpr std::uint32_t kLongestAnswer = 1U << 30;
constexpr std::chrono::milliseconds kFarewell{2000};

[[noreturn]] void failWithSystemError(const std::string& what, int error) {
  throw HostError(what + ": " + std::generic_category().message(error));
}

struct Pipe {
  Pipe() {
    int ends[2];
    if (pipe(ends) != 0) failWithSystemError("no pipe to the host", errno);
    for (const int end : ends) fcntl(end, F_SETFD, FD_CLOEXEC);
    reading = ends[0];
    writing = ends[1];
  }
  int reading;
  int writing;
};

/** A file without a name that takes what the host prints; -1 where none can be made. */
int makeErrorFile() {
  FILE* const file = std::tmpfile();
  if (file == nullptr) return -1;
  const int descriptor = fcntl(fileno(file), F_DUPFD_CLOEXEC, 0);
  std::fclose(file);
  return descriptor;
}

void closeOnce(int& descriptor) {
  if (descriptor >= 0) close(descriptor);
  descriptor = -1;
}

}  // namespace

HostProcess::HostProcess(const std::filesystem::path& program, const std::vector<std::string>& arguments) {
  signal(SIGPIPE, SIG_IGN);
  const Pipe toHost;
  const Pipe fromHost;
  input_ = toHost.writing;
  output_ = fromHost.reading;
  errors_ = makeErrorFile();

  posix_spawn_file_actions_t files;
  posix_spawn_file_actions_init(&files);
  posix_spawn_file_actions_adddup2(&files, toHost.reading, STDIN_FILENO);
  posix_spawn_file_actions_adddup2(&files, fromHost.writing, STDOUT_FILENO);
  if (errors_ >= 0) posix_spawn_file_actions_adddup2(&files, errors_, STDERR_FILENO);
  posix_spawn_file_actions_addchdir_np(&files, program.parent_path().c_str());
  sigset_t defaults;
  sigemptyset(&defaults);
  sigaddset(&defaults, SIGPIPE);
  posix_spawnattr_t attributes;
  posix_spawnattr_init(&attributes);
  posix_spawnattr_setsigdefault(&attributes, &defaults);
  posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGDEF);

  std::vector<std::string> texts = {program.string()};
  texts.insert(texts.end(), arguments.begin(), arguments.end());
  std::vector<char*> pointers;
  std::transform(texts.begin(), texts.end(), std::back_inserter(pointers),
                 [](std::string& text) { return text.data(); });
  pointers.push_back(nullptr);
  const int error = posix_spawn(&process_, program.c_str(), &files, &attributes, pointers.data(), environ);

  posix_spawnattr_destroy(&attributes);
  posix_spawn_file_actions_destroy(&files);
  close(toHost.reading);
  close(fromHost.writing);
  if (error != 0) {
    for (int* descriptor : {&input_, &output_, &errors_}) closeOnce(*descriptor);
    failWithSystemError(program.string() + " cannot be started", error);
  }
}

HostProcess::~HostProcess() {
  closeOnce(input_);
  closeOnce(output_);
  if (!hasExitedWithin(kFarewell)) {
    kill(process_, SIGKILL);
    waitpid(process_, nullptr, 0);
  }
  closeOnce(errors_);
}

jsonxx::Object HostProcess::ask(const jsonxx::Object& request, std::chrono::seconds patience) {
  const std::string text = request.json();
  if (text.size() > FrameAssembler::kMaximumLength) {
    throw HostError("the request has " + std::to_string(text.size()) + " bytes, the host takes " +
                    std::to_string(FrameAssembler::kMaximumLength));
  }
  const auto length = static_cast<std::uint32_t>(text.size());
  std::string prefix(sizeof length, '\0');
  std::memcpy(prefix.data(), &length, sizeof length);
  write(prefix + text);

  const auto deadline = Clock::now() + patience;
  std::uint32_t answerLength = 0;
  std::memcpy(&answerLength, read(sizeof answerLength, deadline).data(), sizeof answerLength);
  if (answerLength > kLongestAnswer) throw HostError("the host's output is no message");
  jsonxx::Object answer;
  if (!answer.parse(read(answerLength, deadline)) || !answer.has<jsonxx::String>("result")) {
    throw HostError("the host's answer is no answer of this protocol");
  }
  return answer;
}

void HostProcess::write(std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t written = ::write(input_, bytes.data(), bytes.size());
    if (written < 0 && errno == EINTR) continue;
    if (written < 0) failAtEnd();
    bytes.remove_prefix(static_cast<std::size_t>(written));
  }
}

std::string HostProcess::read(std::size_t count, Clock::time_point deadline) {
  std::string bytes;
  while (bytes.size() < count) {
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now()).count();
    pollfd descriptor{output_, POLLIN, 0};
    const int ready = left > 0 ? poll(&descriptor, 1, static_cast<int>(left)) : 0;
    if (ready < 0 && errno == EINTR) continue;
    if (ready == 0) throw HostError("the host runs but does not answer in time");
    char buffer[65536];
    const ssize_t got = ::read(output_, buffer, std::min(count - bytes.size(), sizeof buffer));
    if (got < 0 && errno == EINTR) continue;
    if (got <= 0) failAtEnd();
    bytes.append(buffer, static_cast<std::size_t>(got));
  }
  return bytes;
}

bool HostProcess::hasExitedWithin(std::chrono::milliseconds patience) {
  const auto deadline = Clock::now() + patience;
  while (!exited_) {
    exited_ = waitpid(process_, &status_, WNOHANG) == process_;
    if (!exited_ && Clock::now() > deadline) return false;
    if (!exited_) std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  return true;
}

void HostProcess::failAtEnd() {
  std::string message = "the host closed its output without an answer";
  if (hasExitedWithin(kFarewell)) {
    message =
        WIFSIGNALED(status_)
            ? "the host was ended by signal " + std::to_string(WTERMSIG(status_)) + " without an answer"
            : "the host ended with status " + std::to_string(WEXITSTATUS(status_)) + " without an answer";
  }
  const std::string printed = errorOutput();
  throw HostError(printed.empty() ? message : message + "; it said: " + printed);
}

std::string HostProcess::errorOutput() const {
  char buffer[512];
  const ssize_t count = errors_ >= 0 ? pread(errors_, buffer, sizeof buffer, 0) : 0;
  std::string text(buffer, static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
  while (!text.empty() && text.back() == '\n') text.pop_back();
  return printable(text);
}

}  // namespace vorn::vornctl
