#include "e2e/HostProcess.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <fstream>
#include <iostream>
#include <sstream>
#include <stdexcept>
#include <system_error>
#include <thread>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <pty.h>
#include <signal.h>
#include <spawn.h>
#include <stdlib.h>
#include <sys/ioctl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace e2e {
namespace {

using Clock = std::chrono::steady_clock;

void require(bool condition, const char* what) {
  if (!condition) throw std::system_error(errno, std::generic_category(), what);
}

void closeOnce(int& descriptor) {
  if (descriptor >= 0) {
    close(descriptor);
    descriptor = -1;
  }
}

struct Ends {
  int reading;
  int writing;
};

Ends makePipe() {
  int ends[2];
  require(pipe2(ends, O_CLOEXEC) == 0, "pipe");
  return {ends[0], ends[1]};
}

Ends makeTerminal() {
  Ends ends{};
  require(openpty(&ends.writing, &ends.reading, nullptr, nullptr, nullptr) == 0, "openpty");
  fcntl(ends.writing, F_SETFD, FD_CLOEXEC);
  fcntl(ends.reading, F_SETFD, FD_CLOEXEC);
  return ends;
}

std::vector<char*> pointers(std::vector<std::string>& texts) {
  std::vector<char*> result(texts.size() + 1);
  std::transform(texts.begin(), texts.end(), result.begin(), [](std::string& text) { return text.data(); });
  return result;
}

}  // namespace

std::string hostProgram() {
  const char* const other = getenv("VORN_HOST");
  return other != nullptr ? other : VORN_HOST;
}

HostProcess::HostProcess(const Home& home, const HostOptions& options)
    : errorFile_(home.path() / "standard-error") {
  signal(SIGPIPE, SIG_IGN);
  const Ends toHost = options.terminal ? makeTerminal() : makePipe();
  const Ends fromHost = makePipe();
  input_ = toHost.writing;
  output_ = fromHost.reading;

  std::vector<std::string> arguments;
  if (options.addressSpaceKiB != 0) {
    const std::string limit = std::to_string(options.addressSpaceKiB);
    arguments = {"/bin/sh", "-c", R"(ulimit -v "$0" && exec "$@")", limit};
  }
  arguments.push_back(hostProgram());
  arguments.insert(arguments.end(), options.arguments.begin(), options.arguments.end());
  std::vector<std::string> environment = {
      "HOME=" + (options.homeFolder.empty() ? home.path().string() : options.homeFolder),
      std::string("PATH=") + getenv("PATH")};
  environment.insert(environment.end(), options.environment.begin(), options.environment.end());

  posix_spawn_file_actions_t files;
  posix_spawn_file_actions_init(&files);
  posix_spawn_file_actions_adddup2(&files, toHost.reading, STDIN_FILENO);
  posix_spawn_file_actions_adddup2(&files, fromHost.writing, STDOUT_FILENO);
  posix_spawn_file_actions_addopen(&files, STDERR_FILENO, errorFile_.c_str(), O_WRONLY | O_CREAT | O_APPEND,
                                   0600);
  // Chromium leaves SIGPIPE at its default, which is the harder case for the host.
  sigset_t defaults;
  sigemptyset(&defaults);
  sigaddset(&defaults, SIGPIPE);
  posix_spawnattr_t attributes;
  posix_spawnattr_init(&attributes);
  posix_spawnattr_setsigdefault(&attributes, &defaults);
  posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGDEF);

  errno = posix_spawn(&process_, arguments[0].c_str(), &files, &attributes, pointers(arguments).data(),
                      pointers(environment).data());
  const bool spawned = errno == 0;
  posix_spawnattr_destroy(&attributes);
  posix_spawn_file_actions_destroy(&files);
  close(toHost.reading);
  close(fromHost.writing);
  require(spawned, arguments[0].c_str());
}

HostProcess::~HostProcess() {
  if (isRunning()) {
    kill(process_, SIGKILL);
    waitpid(process_, nullptr, 0);
  }
  closeInput();
  closeOutput();
  if (testing::Test::HasFailure()) std::cerr << standardError();
}

void HostProcess::write(std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t written = ::write(input_, bytes.data(), bytes.size());
    require(written > 0, "writing to the host");
    bytes.remove_prefix(static_cast<std::size_t>(written));
  }
}

void HostProcess::waitUntilRead() const {
  const auto deadline = Clock::now() + kPatience;
  int waiting = 1;
  while (true) {
    require(ioctl(input_, FIONREAD, &waiting) == 0, "FIONREAD");
    if (waiting == 0) return;
    if (Clock::now() > deadline) throw std::runtime_error("the host does not read");
    std::this_thread::sleep_for(std::chrono::microseconds(200));
  }
}

void HostProcess::send(std::string_view request) {
  write(frame(request));
}

bool HostProcess::readBytes(std::string& bytes, std::size_t count, Clock::time_point deadline) {
  while (count > 0) {
    const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now()).count();
    pollfd descriptor{output_, POLLIN, 0};
    if (left <= 0 || poll(&descriptor, 1, static_cast<int>(left)) == 0) {
      throw std::runtime_error("no answer in time; so far: " + bytes);
    }
    char buffer[65536];
    const ssize_t got = ::read(output_, buffer, std::min(count, sizeof buffer));
    require(got >= 0, "reading from the host");
    if (got == 0) return false;
    bytes.append(buffer, static_cast<std::size_t>(got));
    count -= static_cast<std::size_t>(got);
  }
  return true;
}

std::string HostProcess::read(std::chrono::milliseconds patience) {
  const auto deadline = Clock::now() + patience;
  std::string prefix;
  std::string body;
  std::uint32_t length = 0;
  const bool complete =
      readBytes(prefix, sizeof length, deadline) &&
      (std::memcpy(&length, prefix.data(), sizeof length), readBytes(body, length, deadline));
  if (!complete) throw std::runtime_error("the host's output ended: " + prefix + body);
  return body;
}

std::string HostProcess::ask(std::string_view request) {
  send(request);
  return read();
}

std::string HostProcess::readSome(std::size_t count) {
  std::string bytes;
  readBytes(bytes, count, Clock::now() + kPatience);
  return bytes;
}

std::string HostProcess::readToEnd() {
  std::string bytes;
  readBytes(bytes, std::string::npos, Clock::now() + kPatience);
  return bytes;
}

void HostProcess::closeInput() {
  closeOnce(input_);
}

void HostProcess::closeOutput() {
  closeOnce(output_);
}

bool HostProcess::isRunning() {
  if (!exited_ && process_ > 0) exited_ = waitpid(process_, &status_, WNOHANG) == process_;
  return process_ > 0 && !exited_;
}

int HostProcess::waitForExit(std::chrono::milliseconds patience) {
  const auto deadline = Clock::now() + patience;
  while (isRunning()) {
    if (Clock::now() > deadline) throw std::runtime_error("the host still runs");
    std::this_thread::sleep_for(std::chrono::milliseconds(2));
  }
  return WIFEXITED(status_) ? WEXITSTATUS(status_) : 128 + WTERMSIG(status_);
}

std::string HostProcess::standardError() const {
  return readFile(errorFile_);
}

long HostProcess::residentKiB() const {
  std::ifstream statm("/proc/" + std::to_string(process_) + "/statm");
  long total = 0;
  long resident = 0;
  statm >> total >> resident;
  return resident * sysconf(_SC_PAGESIZE) / 1024;
}

long HostProcess::peakKiB() const {
  std::ifstream status("/proc/" + std::to_string(process_) + "/status");
  std::string name;
  while (status >> name && name != "VmHWM:") {
  }
  long peak = 0;
  status >> peak;
  return peak;
}

double HostProcess::cpuSeconds() const {
  std::string stat = readFile("/proc/" + std::to_string(process_) + "/stat");
  // The name in parentheses may hold spaces; user and system time are the 12th and 13th field behind it.
  std::istringstream fields(stat.substr(stat.rfind(')') + 1));
  std::string skipped;
  for (int i = 0; i < 11; ++i) fields >> skipped;
  double user = 0;
  double system = 0;
  fields >> user >> system;
  return (user + system) / static_cast<double>(sysconf(_SC_CLK_TCK));
}

std::string frame(std::string_view request) {
  const auto length = static_cast<std::uint32_t>(request.size());
  std::string result(sizeof length, '\0');
  std::memcpy(result.data(), &length, sizeof length);
  return result.append(request);
}

}  // namespace e2e
