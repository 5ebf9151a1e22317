#pragma once

#include <chrono>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "shared/json/jsonxx.h"
#include "vornctl/base/ChildProcess.h"

/** The host as a program: where it is, and a conversation with it. */
namespace vorn::vornctl {

/**
 * The host that is installed with this program: beside it, or in the folder for programs that people do not
 * call. Each system has its own.
 */
std::filesystem::path installedHost();

/** The host did not start, did not answer, or answered what is no answer. The message is for people. */
struct HostError : std::runtime_error {
  using std::runtime_error::runtime_error;
};

/** The member of an answer that is a text; empty when there is none. */
std::string textIn(const jsonxx::Object& answer, const char* member);

/**
 * A host as a browser runs it: a child process on pipes, in the folder of its program. It is asked one
 * request at a time. A host that still runs when the object goes is given two seconds from the end of its
 * input, and killed then.
 */
class HostConversation {
 public:
  /** Throws HostError when the program cannot be started. `environment` is as in ChildStart. */
  explicit HostConversation(const std::filesystem::path& program,
                            const std::vector<std::string>& arguments = {},
                            const std::optional<std::vector<std::string>>& environment = {});

  /** The answer to the request. Throws HostError; the object is of no more use then. */
  jsonxx::Object ask(const jsonxx::Object& request, std::chrono::milliseconds patience);

 private:
  std::string read(std::size_t count, ChildProcess::Clock::time_point deadline);
  [[noreturn]] void failAtEnd();
  std::string errorOutput() const;

  std::unique_ptr<FILE, int (*)(FILE*)> errors_;
  std::optional<ChildProcess> child_;
};

}  // namespace vorn::vornctl
