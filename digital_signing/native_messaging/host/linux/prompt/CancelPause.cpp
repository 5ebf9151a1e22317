#include "linux/prompt/CancelPause.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <string>
#include <thread>

#include "linux/prompt/PromptProgram.h"

namespace vorn::prompt::cancel_pause {
namespace {

using Clock = std::chrono::system_clock;
using std::chrono::seconds;

constexpr seconds kLongest{60};
constexpr long kMostDoubled = 6;

struct Cancelled {
  long count = 0;
  Clock::time_point last{};
};
Cancelled ofThisProcess;

/** It has a byte for each prompt that was cancelled, and the time of the last. Empty when there is no folder.
 */
std::string sharedFile() {
  const std::string folder = environment("XDG_RUNTIME_DIR");
  return folder.starts_with('/') ? folder + "/vorn-signing-cancelled" : "";
}

Cancelled cancelled() {
  struct stat file{};
  if (lstat(sharedFile().c_str(), &file) != 0 || !S_ISREG(file.st_mode) ||
      file.st_size <= ofThisProcess.count)
    return ofThisProcess;
  return {file.st_size,
          Clock::from_time_t(file.st_mtim.tv_sec) + std::chrono::microseconds(file.st_mtim.tv_nsec / 1000)};
}

}  // namespace

void keep() {
  const Cancelled before = cancelled();
  if (before.count == 0) return;
  const seconds pause = std::min(kLongest, seconds(1L << std::min(before.count - 1, kMostDoubled)));
  const Clock::time_point now = Clock::now();
  // A clock that was set back makes nobody wait longer.
  std::this_thread::sleep_until(std::min(before.last, now) + pause);
}

void noteCancelled() {
  ofThisProcess = {cancelled().count + 1, Clock::now()};
  const int file =
      open(sharedFile().c_str(), O_WRONLY | O_CREAT | O_APPEND | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC, 0600);
  if (file < 0) return;
  [[maybe_unused]] const ssize_t written = write(file, "x", 1);
  close(file);
}

void noteAnswered() {
  ofThisProcess = {};
  unlink(sharedFile().c_str());
}

}  // namespace vorn::prompt::cancel_pause
