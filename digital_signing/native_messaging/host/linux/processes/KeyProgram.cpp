#include "linux/processes/KeyProgram.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <filesystem>
#include <iterator>
#include <string>
#include <string_view>
#include <system_error>
#include <vector>

#include "linux/processes/KeyWorkers.h"

namespace vorn::keys {
namespace {

namespace fs = std::filesystem;

/** The descriptor at which the new process finds its own file, which it closes. */
constexpr int kFile = 3;

/** Whether the variable holds a secret of another program. A module may need any other variable, so that all
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

/** Its standard input is the socket. */
int spawn(int file, int socket, pid_t& id, const char* build) {
  posix_spawn_file_actions_t actions;
  if (const int fault = posix_spawn_file_actions_init(&actions)) return fault;
  posix_spawn_file_actions_adddup2(&actions, socket, STDIN_FILENO);
  posix_spawn_file_actions_adddup2(&actions, STDERR_FILENO, STDOUT_FILENO);
  posix_spawn_file_actions_adddup2(&actions, file, kFile);
  posix_spawn_file_actions_addclosefrom_np(&actions, kFile + 1);
  const std::string path = "/proc/self/fd/" + std::to_string(kFile);
  char* const arguments[] = {const_cast<char*>(kKeyProgramFile), const_cast<char*>(kServe),
                             const_cast<char*>(build), nullptr};
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

void forgetWorker(KeyProgram& program) {
  for (const int descriptor : {program.socket, program.end})
    if (descriptor >= 0) close(descriptor);
  if (program.mark != nullptr && program.mark != &callMark()) munmap(program.mark, sizeof *program.mark);
  program.socket = program.end = -1;
  program.mark = nullptr;
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

KeyProgram startKeyProgram(int file, const char* build) {
  KeyProgram program;
  int ends[2];
  if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0) return program;
  program.control = movedUp(ends[0]);
  const int theirs = movedUp(ends[1]);
  const int fault = spawn(file, theirs, program.id, build);
  close(theirs);
  if (fault != 0) {
    program.id = -1;
    endKeyProgram(program);
    errno = fault;
  }
  return program;
}

bool nextWorker(KeyProgram& program, int& formerStatus) {
  const bool isFirst = program.socket < 0;
  forgetWorker(program);
  return (isFirst || send(program.control, "", 1, MSG_NOSIGNAL) == 1) && takeWorker(program, formerStatus);
}

void endKeyProgram(KeyProgram& program) {
  if (program.id > 0) {
    kill(program.id, SIGKILL);
    while (waitpid(program.id, nullptr, 0) < 0 && errno == EINTR) continue;
  }
  forgetWorker(program);
  if (program.control >= 0) close(program.control);
  program = {};
}

}  // namespace vorn::keys
