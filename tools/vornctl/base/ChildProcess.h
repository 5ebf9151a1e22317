#pragma once

#include <sys/types.h>

#include <chrono>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "shared/base/Descriptor.h"

namespace vorn::vornctl {

struct Pipe {
  int reading;
  int writing;
};

/** A pipe whose ends stay with this program. Throws std::system_error. */
Pipe makePipe();

struct ChildStart {
  std::filesystem::path program;
  std::vector<std::string> arguments = {};
  /** The child's environment, as NAME=value; this program's own when there is none. */
  std::optional<std::vector<std::string>> environment = {};
  std::filesystem::path folder = ".";
  Pipe input = makePipe();
  Pipe output = makePipe();
  /** The descriptor for standard error: this program's own when there is none, closed when it is negative. */
  std::optional<int> errors = {};
  /** How long a child that still runs is given from the end of its input, when the object goes. */
  std::chrono::milliseconds farewell{2000};
};

/** A program with pipes on its standard input and output, as browsers run hosts. */
class ChildProcess {
 public:
  using Clock = std::chrono::steady_clock;
  enum class Read { kDone, kEnded, kLate };

  /** Takes both pipes. Throws std::system_error when the program cannot be started. */
  explicit ChildProcess(const ChildStart& start);
  /** Ends the child's input, and kills the child when its time is over. */
  ~ChildProcess();

  /** False when the child does not read any more; errno tells why. */
  bool write(std::string_view bytes);
  /** Appends so many bytes, or those that come before the output ends or time runs out. */
  Read read(std::string& bytes, std::size_t count, Clock::time_point deadline);
  void closeInput() { input_.reset(); }
  void closeOutput() { output_.reset(); }

  bool hasExitedWithin(std::chrono::milliseconds patience);
  /** The status that wait() reports of a child that has exited. */
  int status() const { return status_; }
  pid_t id() const { return process_; }
  int input() const { return input_.get(); }

 private:
  pid_t process_ = -1;
  Descriptor input_;
  Descriptor output_;
  std::chrono::milliseconds farewell_;
  bool exited_ = false;
  int status_ = 0;
};

}  // namespace vorn::vornctl
