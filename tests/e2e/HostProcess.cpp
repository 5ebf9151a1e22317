#include "e2e/HostProcess.h"

#include <cstdint>
#include <cstring>
#include <fstream>
#include <iostream>
#include <iterator>
#include <sstream>
#include <stdexcept>
#include <system_error>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <pty.h>
#include <stdlib.h>
#include <sys/ioctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include "shared/base/Waiting.h"

namespace e2e {
namespace {

using vorn::vornctl::ChildProcess;
using Clock = ChildProcess::Clock;

void require(bool condition, const char* what) {
  if (!condition) throw std::system_error(errno, std::generic_category(), what);
}

vorn::vornctl::Pipe makeTerminal() {
  vorn::vornctl::Pipe ends{};
  require(openpty(&ends.writing, &ends.reading, nullptr, nullptr, nullptr) == 0, "openpty");
  fcntl(ends.writing, F_SETFD, FD_CLOEXEC);
  fcntl(ends.reading, F_SETFD, FD_CLOEXEC);
  return ends;
}

vorn::vornctl::ChildStart startOf(const Home& home, const HostOptions& options, int errors) {
  vorn::vornctl::ChildStart start{.program = hostProgram(), .arguments = options.arguments, .farewell = {}};
  if (options.addressSpaceKiB != 0) {
    const std::string limit = std::to_string(options.addressSpaceKiB);
    start.program = "/bin/sh";
    start.arguments = {"-c", R"(ulimit -v "$0" && exec "$@")", limit, hostProgram()};
    start.arguments.insert(start.arguments.end(), options.arguments.begin(), options.arguments.end());
  }
  start.environment = options.environment;
  start.environment->push_back("HOME=" + options.homeFolder.value_or(home.path().string()));
  start.environment->push_back("PATH=" + options.searchPath.value_or(getenv("PATH")));
  if (options.terminal) start.input = makeTerminal();
  start.errors = options.standardErrorIsClosed ? -1 : errors;
  if (options.nonBlocking)
    for (const int end : {start.input.reading, start.output.writing}) fcntl(end, F_SETFL, O_NONBLOCK);
  return start;
}

vorn::Descriptor openErrorFile(const std::filesystem::path& path) {
  return vorn::Descriptor(open(path.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600));
}

}  // namespace

std::string hostProgram() {
  const char* const other = getenv("VORN_HOST");
  return other != nullptr ? other : VORN_HOST;
}

HostProcess::HostProcess(const Home& home, const HostOptions& options)
    : errorFile_(home.path() / "standard-error"),
      child_(startOf(home, options, openErrorFile(errorFile_).get())) {}

HostProcess::~HostProcess() {
  if (testing::Test::HasFailure()) std::cerr << standardError();
}

void HostProcess::write(std::string_view bytes) {
  require(child_.write(bytes), "writing to the host");
}

void HostProcess::waitUntilRead() const {
  const bool isRead = vorn::comesWithin(kPatience, std::chrono::milliseconds(1), [this] {
    int waiting = 1;
    require(ioctl(child_.input(), FIONREAD, &waiting) == 0, "FIONREAD");
    return waiting == 0;
  });
  if (!isRead) throw std::runtime_error("the host does not read");
}

void HostProcess::send(std::string_view request) {
  write(frame(request));
}

bool HostProcess::readBytes(std::string& bytes, std::size_t count, Clock::time_point deadline) {
  const ChildProcess::Read outcome = child_.read(bytes, count, deadline);
  if (outcome == ChildProcess::Read::kLate) throw std::runtime_error("no answer in time; so far: " + bytes);
  return outcome == ChildProcess::Read::kDone;
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

int HostProcess::waitForExit(std::chrono::milliseconds patience) {
  if (!child_.hasExitedWithin(patience)) throw std::runtime_error("the host still runs");
  const int status = child_.status();
  return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

std::string HostProcess::standardError() const {
  return readFile(errorFile_);
}

pid_t HostProcess::keysId() const {
  pid_t process = id();
  // The host starts one that starts the one that keeps the keys.
  for (int generation = 0; generation < 2; ++generation) {
    const std::string name = std::to_string(process);
    process = static_cast<pid_t>(std::stol("0" + readFile("/proc/" + name + "/task/" + name + "/children")));
  }
  return process;
}

long HostProcess::memoryKiB(const std::string& kind) const {
  std::ifstream status("/proc/" + std::to_string(id()) + "/status");
  std::string name;
  while (status >> name && name != kind + ":") {
  }
  long amount = 0;
  status >> amount;
  return amount;
}

double HostProcess::cpuSeconds() const {
  std::string stat = readFile("/proc/" + std::to_string(id()) + "/stat");
  // The name in parentheses may hold spaces; user and system time are the 12th and 13th behind it.
  std::istringstream fields(stat.substr(stat.rfind(')') + 1));
  std::vector<std::string> field{std::istream_iterator<std::string>(fields), {}};
  return (std::stod(field.at(11)) + std::stod(field.at(12))) / static_cast<double>(sysconf(_SC_CLK_TCK));
}

}  // namespace e2e
