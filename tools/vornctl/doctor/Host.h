#pragma once

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "shared/json/jsonxx.h"
#include "vornctl/base/ChildProcess.h"

/** The host as a program: where it is, and a conversation with it. */
namespace vorn::vornctl {

/** The host that is installed with this program: beside it, or in the folder for programs that people do not
 * call. Each system has its own. */
std::filesystem::path installedHost();

/** The host did not start, did not answer, or answered what is no answer. The message is for people. */
struct HostError : std::runtime_error {
  using std::runtime_error::runtime_error;
};

/** The member of an answer that is a text; empty when there is none. */
std::string textIn(const jsonxx::Object& answer, const char* member);

/** The code of an answer that tells of an error; 0 in another. */
std::uint32_t codeIn(const jsonxx::Object& answer);

/** What an error of the host means, for people. */
struct ErrorWords {
  std::uint32_t code;      /**< 0 for what a reason says by itself */
  std::string_view reason; /**< with any code; empty for none */
  bool concernsAll;        /**< the next document would fail alike */
  std::string_view cause;
  std::string_view remedy;
};

/** By the reason where that says more than the code. For a code that is unknown here, words that say so. */
const ErrorWords& wordsFor(const jsonxx::Object& answer);
/** The text of an answer as people know the things on this system: the Keychain is macOS's. */
std::string wordsHere(std::string text);

/** A host as a browser runs it: a child process on pipes, in the folder of its program. It is asked one
 * request at a time. A host that still runs when the object goes is given two seconds from the end of its
 * input, and killed then. */
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
