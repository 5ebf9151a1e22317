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
 * The running program at the other end of a socket, in a session of its own. When its time
 * is up, reading from the socket ends. With the object it is killed, and all that it
 * has started with it; so it is when this process dies.
 */
class PromptProcess {
 public:
  enum class End { kNone, kLate };

  /** Throws std::system_error when it cannot be started. */
  explicit PromptProcess(const std::string& program);
  ~PromptProcess();
  PromptProcess(const PromptProcess&) = delete;
  PromptProcess& operator=(const PromptProcess&) = delete;

  /** Our end of the socket, which becomes the caller's. */
  int takeSocket();
  /** Gives the prompt so long from now on. */
  void allow(std::chrono::seconds time);
  /** Asks it to leave, with a terminal in order. */
  void dismiss() const;
  /** Does so with the one that is open, if one is, and gives it time for that. From any thread. */
  static void dismissOpen();
  /** Why the prompt was ended, if it was. */
  End end() const { return end_; }

 private:
  void watch();
  void kill();

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
