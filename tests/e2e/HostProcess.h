#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "e2e/Home.h"
#include "vornctl/base/ChildProcess.h"

namespace e2e {

/** Long enough for a loaded machine and a host built with sanitizers; a test that is well never waits this
 * long. */
constexpr std::chrono::milliseconds kPatience{60000};

/** The program under test: VORN_HOST of the environment, else the host that was built along with the tests.
 */
std::string hostProgram();

struct HostOptions {
  std::optional<std::string> homeFolder = {};  // instead of the Home's own path
  std::vector<std::string> environment = {};   // "NAME=value", besides HOME and PATH
  std::vector<std::string> arguments = {};
  std::optional<std::string> searchPath = {};  // instead of the test's own PATH
  std::size_t addressSpaceKiB = 0;             // at most so much, if any
  bool terminal = false;     // standard input is a terminal; what is written to the host is typed there
  bool nonBlocking = false;  // the host's ends of the pipes
  bool standardErrorIsClosed = false;
};

/** The built host as a child process, on pipes, as a browser runs it. Whatever the harness itself cannot do
 * (a time that runs out, an answer that breaks off) is an exception, which fails the test. A host that still
 * runs is killed with the object. */
class HostProcess {
 public:
  explicit HostProcess(const Home& home, const HostOptions& options = {});
  ~HostProcess();

  /** Writes bytes as they are. */
  void write(std::string_view bytes);
  /** Returns when the host has taken in all that was written: the next write is another read of the host's.
   */
  void waitUntilRead() const;
  /** Writes a request in its frame. */
  void send(std::string_view request);
  /** The text of the next answer. */
  std::string read(std::chrono::milliseconds patience = kPatience);
  std::string ask(std::string_view request);
  /** So many bytes of what the host writes. */
  std::string readSome(std::size_t count);
  /** All that comes before the host closes its output. */
  std::string readToEnd();

  void closeInput() { child_.closeInput(); }
  void closeOutput() { child_.closeOutput(); }

  bool isRunning() { return !child_.hasExitedWithin({}); }
  /** The exit status, or 128 and the number of the signal that killed the host. */
  int waitForExit(std::chrono::milliseconds patience = kPatience);

  /** What the host has printed on standard error. */
  std::string standardError() const;
  pid_t id() const { return child_.id(); }
  /** The process for keys, once the host has started it. */
  pid_t keysId() const;
  /** The memory of the running host: resident now, and the most so far. */
  long residentKiB() const { return memoryKiB("VmRSS"); }
  long peakKiB() const { return memoryKiB("VmHWM"); }
  /** The processor time that the running host has used. */
  double cpuSeconds() const;

 private:
  long memoryKiB(const std::string& kind) const;
  bool readBytes(std::string& bytes, std::size_t count, std::chrono::steady_clock::time_point deadline);

  std::filesystem::path errorFile_;
  vorn::vornctl::ChildProcess child_;
};

}  // namespace e2e
