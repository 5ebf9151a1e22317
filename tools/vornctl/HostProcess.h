#pragma once

#include <sys/types.h>

#include <chrono>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "shared/json/jsonxx.h"

namespace vorn::vornctl {

/** The host did not start, did not answer, or answered what is no answer. The message is for people. */
class HostError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/**
 * A host as a browser runs it: a child process on pipes, in the folder of its program. It is asked one
 * request at a time. A host that still runs when the object goes is given two seconds from the end of its
 * input, and killed then.
 */
class HostProcess {
 public:
  /** Throws HostError when the program cannot be started. */
  explicit HostProcess(const std::filesystem::path& program, const std::vector<std::string>& arguments = {});
  ~HostProcess();
  HostProcess(const HostProcess&) = delete;
  HostProcess& operator=(const HostProcess&) = delete;

  /** The answer to the request. Throws HostError; the object is of no more use then. */
  jsonxx::Object ask(const jsonxx::Object& request, std::chrono::seconds patience);

 private:
  void write(std::string_view bytes);
  std::string read(std::size_t count, std::chrono::steady_clock::time_point deadline);
  bool hasExitedWithin(std::chrono::milliseconds patience);
  [[noreturn]] void failAtEnd();
  std::string errorOutput() const;

  pid_t process_ = -1;
  int input_ = -1;
  int output_ = -1;
  int errors_ = -1;
  bool exited_ = false;
  int status_ = 0;
};

}  // namespace vorn::vornctl
