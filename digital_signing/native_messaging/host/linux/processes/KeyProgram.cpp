#include "linux/processes/KeyProgram.h"

#include <spawn.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/wait.h>

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <iterator>
#include <string>
#include <string_view>
#include <system_error>
#include <vector>

#include "linux/processes/KeyChannel.h"
#include "shared/base/Waiting.h"

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

/** A copy above the descriptors that the new process finds its own at, in the place of this one. */
Descriptor movedUp(const Descriptor descriptor) {
  return Descriptor(fcntl(descriptor.get(), F_DUPFD_CLOEXEC, kFile + 1));
}

void forgetWorker(KeyProgram& program) {
  for (const int descriptor : {program.socket, program.end})
    if (descriptor >= 0) close(descriptor);
  if (program.mark != nullptr && program.mark != &callMark()) munmap(program.mark, sizeof *program.mark);
  program.socket = program.end = -1;
  program.mark = nullptr;
}

/** The socket, the page of marks, and what becomes readable when the worker ends. */
constexpr int kHandedOver = 3;
constexpr int kStartPatience = 10000;  // in milliseconds

union Control {
  char bytes[CMSG_SPACE(kHandedOver * sizeof(int))];
  cmsghdr head;
};

msghdr messageOf(iovec& data, Control& control) {
  msghdr message{};
  message.msg_iov = &data;
  message.msg_iovlen = 1;
  message.msg_control = control.bytes;
  message.msg_controllen = sizeof control.bytes;
  return message;
}

bool handOver(int control, int status, const int (&descriptors)[kHandedOver]) {
  iovec data{&status, sizeof status};
  Control ancillary{};
  const msghdr message = messageOf(data, ancillary);
  ancillary.head = {CMSG_LEN(sizeof descriptors), SOL_SOCKET, SCM_RIGHTS};
  std::memcpy(CMSG_DATA(&ancillary.head), descriptors, sizeof descriptors);
  return sendmsg(control, &message, MSG_NOSIGNAL) >= 0;
}

int endOf(pid_t worker) {
  int status = 0;
  kill(worker, SIGKILL);
  // A process that not even this ends waits for its device; nobody is to wait along with it.
  using std::chrono::milliseconds;
  comesWithin(milliseconds(500), milliseconds(1), [&] { return waitpid(worker, &status, WNOHANG) != 0; });
  return status;
}

/** Waits for what is handed over, and takes it into `program`. */
bool takeWorker(KeyProgram& program, int& formerStatus) {
  iovec data{&formerStatus, sizeof formerStatus};
  Control ancillary{};
  msghdr message = messageOf(data, ancillary);
  if (!isReady(program.control, POLLIN, kStartPatience) ||
      recvmsg(program.control, &message, MSG_CMSG_CLOEXEC) != sizeof formerStatus ||
      message.msg_controllen < CMSG_LEN(kHandedOver * sizeof(int)))
    return false;
  int descriptors[kHandedOver];
  std::memcpy(descriptors, CMSG_DATA(&ancillary.head), sizeof descriptors);
  program.socket = descriptors[0];
  program.mark = mapCallMark(descriptors[1]);
  program.end = descriptors[2];
  close(descriptors[1]);
  return true;
}

/** Starts a worker, and hands it over with the status of the former one. Returns in the worker, too: 0 there,
 * with its end of the socket in `socket`. */
pid_t startWorker(int control, int formerStatus, bool opensAtOnce, int& socket) {
  int ends[2];
  const Descriptor mark = makeCallMark();
  if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0) _exit(EXIT_FAILURE);
  const Descriptor ours(ends[0]);
  Descriptor theirs(ends[1]);
  // What the first search would wait for is begun while nobody waits.
  if (opensAtOnce) KeyChannel(ours.get()).send(jsonxx::Object("question", "open"));
  const pid_t self = getpid();
  const pid_t worker = fork();
  if (worker == 0) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (getppid() != self) _exit(EXIT_FAILURE);  // it has died meanwhile
    useCallMark(mapCallMark(mark.get()));
    close(control);
    socket = theirs.release();
    return 0;
  }
  // By its number: the function of glibc 2.36 is declared without C linkage.
  const Descriptor end(worker > 0 ? static_cast<int>(syscall(SYS_pidfd_open, worker, 0)) : -1);
  // What there is not, as on old kernels or where no file may grow, the socket stands for.
  const int descriptors[] = {ours.get(), (mark ? mark : ours).get(), (end ? end : ours).get()};
  if (worker < 0 || !handOver(control, formerStatus, descriptors)) _exit(EXIT_FAILURE);
  return worker;
}

}  // namespace

Descriptor openKeyProgram(const char* folder) {
  std::error_code unreadable;
  const fs::path here = fs::read_symlink("/proc/self/exe", unreadable).parent_path();
  std::vector<fs::path> folders{here, here.parent_path() / "lib" / "vorn-signing",
                                here.parent_path() / "libexec"};
  if (*folder != '\0') folders = {folder};
  for (const fs::path& candidate : folders)
    if (Descriptor file(open((candidate / kKeyProgramFile).c_str(), O_PATH | O_CLOEXEC)); file)
      return movedUp(std::move(file));
  return Descriptor();
}

KeyProgram startKeyProgram(int file, const char* build) {
  KeyProgram program;
  int ends[2];
  if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0) return program;
  program.control = movedUp(Descriptor(ends[0])).release();
  const Descriptor theirs = movedUp(Descriptor(ends[1]));
  const int fault = spawn(file, theirs.get(), program.id, build);
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

int serveWorkers(int control, bool opensAtOnce) {
  int status = 0;
  int socket = -1;
  while (const pid_t worker = startWorker(control, status, std::exchange(opensAtOnce, false), socket)) {
    char wish = 0;
    if (readSome(control, &wish, sizeof wish) <= 0) _exit(EXIT_SUCCESS);
    status = endOf(worker);
  }
  return socket;
}

}  // namespace vorn::keys
