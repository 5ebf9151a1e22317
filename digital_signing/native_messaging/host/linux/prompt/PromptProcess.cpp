#include "linux/prompt/PromptProcess.h"

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <filesystem>
#include <sstream>
#include <system_error>

#include "shared/base/Platform.h"
#include "shared/base/Waiting.h"

namespace vorn::prompt {
namespace {

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;

/** A desktop under load may take its time to show a first window. */
constexpr std::chrono::seconds kStart{30};
constexpr std::chrono::milliseconds kSlice{100};
/** Lets the prompt end by itself, and restore its terminal, once it has answered. */
constexpr std::chrono::milliseconds kFarewell{500};
constexpr int kFirstFreeDescriptor = 3;

constexpr const char* kWithWindow[] = {"pinentry",    "pinentry-x11",   "pinentry-gnome3",
                                       "pinentry-qt", "pinentry-gtk-2", "pinentry-fltk"};
constexpr const char* kForTerminal[] = {"pinentry", "pinentry-curses", "pinentry-tty"};
constexpr char kUsualPath[] = "/usr/local/bin:/usr/bin:/bin";

bool isProgram(const fs::path& file) {
  std::error_code unreadable;
  return fs::is_regular_file(file, unreadable) && access(file.c_str(), X_OK) == 0;
}

/** Empty when there is none. */
std::string findInPath(const std::string& name) {
  if (name.find('/') != std::string::npos) return isProgram(name) ? fs::absolute(name).string() : "";
  const std::string path = platform::environment("PATH");
  std::istringstream folders(path.empty() ? kUsualPath : path);
  for (std::string folder; std::getline(folders, folder, ':');)
    if (const fs::path file = fs::path(folder) / name; file.is_absolute() && isProgram(file))
      return file.string();
  return "";
}

/** The general name may lead to a form that knows terminals alone. */
bool isForTerminalAlone(const std::string& program) {
  std::error_code unreadable;
  const std::string name = fs::canonical(program, unreadable).filename().string();
  return name.ends_with("-curses") || name.ends_with("-tty");
}

template <std::size_t count>
std::string findFirst(const char* const (&names)[count], bool forTerminal) {
  for (const char* name : names)
    if (std::string program = findInPath(name);
        !program.empty() && (forTerminal || !isForTerminalAlone(program)))
      return program;
  return "";
}

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

PromptProgram findPromptProgram() {
  if (const std::string named = platform::environment("VORN_PINENTRY"); !named.empty()) {
    std::string program = findInPath(named);
    if (!program.empty()) return {program, ""};
    return {"",
            "VORN_PINENTRY names " + named + ", which is no program that can be run; correct or unset it"};
  }
  const bool hasDisplay =
      !platform::environment("DISPLAY").empty() || !platform::environment("WAYLAND_DISPLAY").empty();
  const bool hasTerminal = !platform::environment("GPG_TTY").empty();
  if (!hasDisplay && !hasTerminal) {
    return {"",
            "there is no display to ask on, as neither DISPLAY nor WAYLAND_DISPLAY is set; start the browser "
            "from the desktop, or use \"vornctl sign\" in a terminal"};
  }
  std::string program = hasDisplay ? findFirst(kWithWindow, false) : "";
  if (program.empty() && hasTerminal) program = findFirst(kForTerminal, true);
  if (!program.empty()) return {program, ""};
  return {"", std::string("there is no program to ask with; install ") +
                  (hasDisplay ? "pinentry-gnome3 or pinentry-qt" : "pinentry-curses")};
}

PromptProcess::PromptProcess(const std::string& program) : deadline_(Clock::now() + kStart) {
  int ends[2];
  if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0) fail("no socket");
  const pid_t host = getpid();
  socket_.reset(ends[0]);
  Descriptor theirs(ends[1]);
  process_ = fork();
  if (process_ == 0) become(program.c_str(), theirs.get(), host);
  openPrompt = process_;
  theirs.reset();
  watchedSocket_.reset(fcntl(socket_.get(), F_DUPFD_CLOEXEC, kFirstFreeDescriptor));
  try {
    if (process_ < 0 || !watchedSocket_) fail("no process");
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
  socket_.reset();
  comesWithin(kFarewell, std::chrono::milliseconds(1), [this] {
    siginfo_t state{};
    // Left as a zombie, so that its number is nobody else's when the group is killed.
    return waitid(P_PID, static_cast<id_t>(process_), &state, WEXITED | WNOHANG | WNOWAIT) != 0 ||
           state.si_pid != 0;
  });
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
  watchedSocket_.reset();
  socket_.reset();
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
    wasLate_ = true;
    dismiss();
    shutdown(watchedSocket_.get(), SHUT_RDWR);
    return;
  }
}

}  // namespace vorn::prompt
