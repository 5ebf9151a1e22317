#include "linux/prompt/PromptProcess.h"

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <system_error>
#include <utility>

namespace vorn::prompt {
namespace {

using Clock = std::chrono::steady_clock;

/** A desktop under load may take its time to show a first window. */
constexpr std::chrono::seconds kStart{30};
constexpr std::chrono::milliseconds kSlice{100};
/** Lets the prompt end by itself, and restore its terminal, once it has answered. */
constexpr std::chrono::milliseconds kFarewell{500};
constexpr int kFirstFreeDescriptor = 3;

extern "C" void endSession(int) {
  ::kill(0, SIGKILL);
}

/** In a child of the prompt: whatever ends that, a script perhaps, ends also what it has started. */
[[noreturn]] void guardSession(pid_t prompt) {
  close_range(0, ~0U, 0);
  std::signal(SIGTERM, SIG_IGN);
  std::signal(SIGUSR1, &endSession);
  prctl(PR_SET_PDEATHSIG, SIGUSR1);
  if (getppid() != prompt) endSession(SIGUSR1);
  while (true) pause();
}

/** In the new process, before the program: nothing here allocates or locks. */
[[noreturn]] void become(const char* program, int socket, pid_t host) {
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  if (getppid() != host) _exit(1);  // it has died meanwhile
  // A library may have changed them, and the guard is told by a signal.
  for (int signal = 1; signal < NSIG; ++signal) std::signal(signal, SIG_DFL);
  sigset_t none;
  sigemptyset(&none);
  sigprocmask(SIG_SETMASK, &none, nullptr);
  const pid_t session = setsid();
  if (_Fork() == 0) guardSession(session);
  // A library may have closed the first three, whose numbers then were free for the socket.
  socket = fcntl(socket, F_DUPFD_CLOEXEC, kFirstFreeDescriptor);
  dup2(socket, STDIN_FILENO);
  dup2(socket, STDOUT_FILENO);
  dup2(open("/dev/null", O_WRONLY | O_CLOEXEC), STDERR_FILENO);
  close_range(kFirstFreeDescriptor, ~0U, 0);
  char* const arguments[] = {const_cast<char*>(program), nullptr};
  execv(program, arguments);
  _exit(1);
}

std::atomic<pid_t> openPrompt = 0;

void endByRequest(pid_t process) {
  ::kill(-process, SIGTERM);
  ::kill(process, SIGTERM);  // one that has not come to its own session yet
}

[[noreturn]] void fail(const char* what) {
  throw std::system_error(errno, std::generic_category(), what);
}

}  // namespace

PromptProcess::PromptProcess(const std::string& program) : deadline_(Clock::now() + kStart) {
  int ends[2];
  if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0) fail("no socket");
  const pid_t host = getpid();
  process_ = fork();
  if (process_ == 0) become(program.c_str(), ends[1], host);
  openPrompt = process_;
  close(ends[1]);
  socket_ = ends[0];
  watchedSocket_ = fcntl(socket_, F_DUPFD_CLOEXEC, kFirstFreeDescriptor);
  try {
    if (process_ < 0 || watchedSocket_ < 0) fail("no process");
    watcher_ = std::thread([this] { watch(); });
  } catch (...) {
    kill();
    throw;
  }
}

PromptProcess::~PromptProcess() {
  {
    const std::lock_guard lock(mutex_);
    isDone_ = true;
  }
  wake_.notify_one();
  watcher_.join();
  close(takeSocket());
  const auto deadline = Clock::now() + kFarewell;
  while (Clock::now() < deadline && process_ > 0) {
    siginfo_t state{};
    // Left as a zombie, so that its number is nobody else's when the group is killed.
    if (waitid(P_PID, static_cast<id_t>(process_), &state, WEXITED | WNOHANG | WNOWAIT) != 0 ||
        state.si_pid != 0)
      break;
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  kill();
}

/** With all that it has started, and to the end. */
void PromptProcess::kill() {
  openPrompt = 0;
  if (process_ > 0) {
    ::kill(-process_, SIGKILL);
    ::kill(process_, SIGKILL);
    while (waitpid(process_, nullptr, 0) < 0 && errno == EINTR) {
    }
  }
  process_ = -1;
  close(std::exchange(watchedSocket_, -1));
  close(takeSocket());
}

void PromptProcess::dismiss() const {
  endByRequest(process_);
}

void PromptProcess::dismissOpen() {
  const pid_t process = openPrompt;
  if (process <= 0) return;
  endByRequest(process);
  std::this_thread::sleep_for(kSlice);
}

int PromptProcess::takeSocket() {
  return std::exchange(socket_, -1);
}

void PromptProcess::allow(std::chrono::seconds time) {
  const std::lock_guard lock(mutex_);
  deadline_ = Clock::now() + time;
}

void PromptProcess::watch() {
  std::unique_lock lock(mutex_);
  while (!isDone_) {
    wake_.wait_for(lock, kSlice);
    if (isDone_) return;
    if (Clock::now() <= deadline_) continue;
    end_ = End::kLate;
    dismiss();
    shutdown(watchedSocket_, SHUT_RDWR);
    return;
  }
}

}  // namespace vorn::prompt
