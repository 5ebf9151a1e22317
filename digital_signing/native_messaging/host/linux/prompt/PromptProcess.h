#pragma once

#include <sys/types.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <string>
#include <thread>

#include "shared/base/Descriptor.h"

namespace vorn::prompt {

/** The program that asks for PINs, or why there is none. */
struct PromptProgram {
  /** Absolute; empty when nobody can be asked. */
  std::string path;
  /** For people: what is missing, and what to do. */
  std::string fault;
};

/** What VORN_PINENTRY names, a path or a program in PATH. Without it the desktop's own pinentry, by the names
 * that Debian has for it: one with a window where there is a display, else one for the terminal that GPG_TTY
 * names. */
PromptProgram findPromptProgram();

/** The running program at the other end of a socket, in a session of its own. When its time
 * is up, reading from the socket ends. With the object it is killed, and all that it
 * has started with it; so it is when this process dies. */
class PromptProcess {
 public:
  /** Throws std::system_error when it cannot be started. */
  explicit PromptProcess(const std::string& program);
  ~PromptProcess();

  /** Our end of the socket, which becomes the caller's. */
  int takeSocket() { return socket_.release(); }
  /** Gives the prompt so long from now on. */
  void allow(std::chrono::seconds time);
  /** Asks it to leave, with a terminal in order. */
  void dismiss() const;
  /** Does so with the one that is open, if one is, and gives it time for that. From any thread. */
  static void dismissOpen();
  /** Whether the prompt was ended because its time was up. */
  bool wasLate() const { return wasLate_; }

 private:
  void watch();
  void kill();

  Descriptor socket_;
  /** The same end once more, for the thread. */
  Descriptor watchedSocket_;
  pid_t process_ = -1;
  std::atomic<bool> wasLate_ = false;
  std::mutex mutex_;
  std::condition_variable wake_;
  bool isDone_ = false;
  std::chrono::steady_clock::time_point deadline_;
  std::thread watcher_;
};

}  // namespace vorn::prompt
