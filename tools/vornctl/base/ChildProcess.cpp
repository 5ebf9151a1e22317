#include "vornctl/base/ChildProcess.h"

#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>

#include <algorithm>
#include <iterator>
#include <system_error>

#include "shared/base/Waiting.h"

extern char** environ;

namespace vorn::vornctl {
namespace {

std::vector<char*> pointersTo(std::vector<std::string>& texts) {
  std::vector<char*> pointers;
  std::transform(texts.begin(), texts.end(), std::back_inserter(pointers),
                 [](std::string& text) { return text.data(); });
  pointers.push_back(nullptr);
  return pointers;
}

}  // namespace

Pipe makePipe() {
  int ends[2];
  if (pipe(ends) != 0) throw std::system_error(errno, std::generic_category(), "no pipe");
  for (const int end : ends) fcntl(end, F_SETFD, FD_CLOEXEC);
  return {ends[0], ends[1]};
}

ChildProcess::ChildProcess(const ChildStart& start)
    : input_(start.input.writing), output_(start.output.reading), farewell_(start.farewell) {
  signal(SIGPIPE, SIG_IGN);
  posix_spawn_file_actions_t files;
  posix_spawn_file_actions_init(&files);
  posix_spawn_file_actions_adddup2(&files, start.input.reading, STDIN_FILENO);
  posix_spawn_file_actions_adddup2(&files, start.output.writing, STDOUT_FILENO);
  if (start.errors && *start.errors >= 0)
    posix_spawn_file_actions_adddup2(&files, *start.errors, STDERR_FILENO);
  if (start.errors && *start.errors < 0) posix_spawn_file_actions_addclose(&files, STDERR_FILENO);
  posix_spawn_file_actions_addchdir_np(&files, start.folder.c_str());
  // Browsers leave SIGPIPE at its default.
  sigset_t defaults;
  sigemptyset(&defaults);
  sigaddset(&defaults, SIGPIPE);
  posix_spawnattr_t attributes;
  posix_spawnattr_init(&attributes);
  posix_spawnattr_setsigdefault(&attributes, &defaults);
  posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGDEF);

  std::vector<std::string> arguments = {start.program.string()};
  arguments.insert(arguments.end(), start.arguments.begin(), start.arguments.end());
  std::vector<std::string> environment = start.environment.value_or(std::vector<std::string>());
  const int error =
      posix_spawn(&process_, start.program.c_str(), &files, &attributes, pointersTo(arguments).data(),
                  start.environment ? pointersTo(environment).data() : environ);

  posix_spawnattr_destroy(&attributes);
  posix_spawn_file_actions_destroy(&files);
  close(start.input.reading);
  close(start.output.writing);
  if (error != 0) throw std::system_error(error, std::generic_category(), start.program.string());
}

ChildProcess::~ChildProcess() {
  closeInput();
  closeOutput();
  if (!hasExitedWithin(farewell_)) {
    kill(process_, SIGKILL);
    waitpid(process_, nullptr, 0);
  }
}

bool ChildProcess::write(std::string_view bytes) {
  return writeAll(input_.get(), bytes);
}

ChildProcess::Read ChildProcess::read(std::string& bytes, std::size_t count, Clock::time_point deadline) {
  while (count > 0) {
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now()).count();
    pollfd descriptor{output_.get(), POLLIN, 0};
    const int ready = left > 0 ? poll(&descriptor, 1, static_cast<int>(left)) : 0;
    if (ready < 0 && errno == EINTR) continue;
    if (ready == 0) return Read::kLate;
    char buffer[65536];
    const ssize_t got = readSome(output_.get(), buffer, std::min(count, sizeof buffer));
    if (got <= 0) return Read::kEnded;
    bytes.append(buffer, static_cast<std::size_t>(got));
    count -= static_cast<std::size_t>(got);
  }
  return Read::kDone;
}

bool ChildProcess::hasExitedWithin(std::chrono::milliseconds patience) {
  return comesWithin(patience, std::chrono::milliseconds(1), [this] {
    return exited_ = exited_ || waitpid(process_, &status_, WNOHANG) == process_;
  });
}

}  // namespace vorn::vornctl
