#pragma once

#include <sys/types.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <string>
#include <thread>

#include "linux/prompt/PinPrompt.h"

namespace vorn::prompt {

/**
 * The running program at the other end of a socket, in a session of its own. When nobody waits for the answer
 * any more, or its time is up, reading from the socket ends. With the object it is killed, and all that it
 * has started with it; so it is when this process dies.
 */
class PromptProcess {
 public:
  enum class End { kNone, kAbandoned, kLate };

  /** Throws std::system_error when it cannot be started. */
  PromptProcess(const std::string& program, IsAbandoned isAbandoned);
  ~PromptProcess();
  PromptProcess(const PromptProcess&) = delete;
  PromptProcess& operator=(const PromptProcess&) = delete;

  /** Our end of the socket, which becomes the caller's. */
  int takeSocket();
  /** From now on it has so long. */
  void allow(std::chrono::seconds time);
  /** Asks it to leave, with a terminal in order. */
  void dismiss() const;
  /** Why it had to go, if it had. */
  End end() const { return end_; }

 private:
  void watch();
  void kill();

  const IsAbandoned isAbandoned_;
  int socket_ = -1;
  /** The same end once more, for the thread. */
  int watchedSocket_ = -1;
  pid_t process_ = -1;
  std::atomic<End> end_ = End::kNone;
  std::mutex mutex_;
  std::condition_variable wake_;
  bool isDone_ = false;
  std::chrono::steady_clock::time_point deadline_;
  std::thread watcher_;
};

}  // namespace vorn::prompt
