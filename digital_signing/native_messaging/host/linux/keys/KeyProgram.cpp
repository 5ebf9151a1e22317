#include "linux/keys/KeyProgram.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdint>
#include <filesystem>
#include <iterator>
#include <string>
#include <string_view>
#include <system_error>
#include <thread>
#include <vector>

namespace vorn::keys {
namespace {

namespace fs = std::filesystem;

/** Where the program finds them: see its own main. */
constexpr int kMark = 3;
constexpr int kFile = 4;

/** What browsers and shells keep for other programs. A module's settings are nobody's to know, so that all
 * else is handed on. */
bool namesSecret(std::string_view variable) {
  const std::string_view name = variable.substr(0, variable.find('='));
  constexpr std::string_view kWords[] = {"SECRET",  "PASSWORD",   "PASSWD",
                                         "API_KEY", "ACCESS_KEY", "CREDENTIAL"};
  return std::any_of(std::begin(kWords), std::end(kWords),
                     [name](std::string_view word) { return name.find(word) != std::string_view::npos; });
}

std::vector<char*> environmentForKeys() {
  std::vector<char*> variables;
  for (char** variable = environ; variable != nullptr && *variable != nullptr; ++variable)
    if (!namesSecret(*variable)) variables.push_back(*variable);
  variables.push_back(nullptr);
  return variables;
}

/** Its standard input is the socket, its descriptor 3 the page. */
int spawn(int file, int socket, int mark, pid_t& id) {
  posix_spawn_file_actions_t actions;
  if (const int fault = posix_spawn_file_actions_init(&actions)) return fault;
  // None of them is one of the targets of another.
  posix_spawn_file_actions_adddup2(&actions, socket, STDIN_FILENO);
  posix_spawn_file_actions_adddup2(&actions, STDERR_FILENO, STDOUT_FILENO);
  if (mark >= 0) posix_spawn_file_actions_adddup2(&actions, mark, kMark);
  posix_spawn_file_actions_adddup2(&actions, file, kFile);
  posix_spawn_file_actions_addclosefrom_np(&actions, kFile + 1);
  const std::string path = "/proc/self/fd/" + std::to_string(kFile);
  char* const arguments[] = {const_cast<char*>(kKeyProgramFile), nullptr};
  const int fault = posix_spawn(&id, path.c_str(), &actions, nullptr, arguments, environmentForKeys().data());
  posix_spawn_file_actions_destroy(&actions);
  return fault;
}

/** A copy above the descriptors that the new process finds its own at. */
int movedUp(int descriptor) {
  const int moved = fcntl(descriptor, F_DUPFD_CLOEXEC, kFile + 1);
  close(descriptor);
  return moved;
}

}  // namespace

int openKeyProgram(const char* folder) {
  std::error_code unreadable;
  const fs::path here = fs::read_symlink("/proc/self/exe", unreadable).parent_path();
  std::vector<fs::path> folders{here, here.parent_path() / "lib" / "vorn-signing",
                                here.parent_path() / "libexec"};
  if (*folder != '\0') folders = {folder};
  for (const fs::path& candidate : folders)
    if (const int file = open((candidate / kKeyProgramFile).c_str(), O_PATH | O_CLOEXEC); file >= 0)
      return movedUp(file);
  return -1;
}

KeyProgram startKeyProgram(int file) {
  KeyProgram program;
  int ends[2];
  if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0) return program;
  const int theirs = movedUp(ends[1]);
  const int page = makeCallMark();
  const int mark = page >= 0 ? movedUp(page) : page;
  program.socket = movedUp(ends[0]);
  program.mark = mapCallMark(mark);
  if (const int fault = spawn(file, theirs, mark, program.id)) {
    endKeyProgram(program);
    errno = fault;
  } else {
    // By its number: the function of glibc 2.36 is declared without C linkage.
    program.end = static_cast<int>(syscall(SYS_pidfd_open, program.id, 0));
  }
  for (const int descriptor : {theirs, mark})
    if (descriptor >= 0) close(descriptor);
  return program;
}

int endKeyProgram(KeyProgram& program) {
  int status = 0;
  if (program.id > 0) {
    kill(program.id, SIGKILL);
    // A process that not even this ends waits for its device; nobody is to wait along with it.
    for (int slices = 0; slices < 500 && waitpid(program.id, &status, WNOHANG) == 0; ++slices)
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  for (const int descriptor : {program.socket, program.end})
    if (descriptor >= 0) close(descriptor);
  if (program.mark != nullptr && program.mark != &callMark()) munmap(program.mark, sizeof *program.mark);
  program = {};
  return status;
}

}  // namespace vorn::keys
