#include "linux/processes/KeyWorkers.h"

#include <poll.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <thread>

#include "linux/processes/KeyChannel.h"

namespace vorn::keys {
namespace {

/** The socket, the page of marks, and what becomes readable when the worker ends. */
constexpr int kHandedOver = 3;
constexpr int kPatience = 10000;  // in milliseconds, for a program to come up

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
  for (int slices = 0; slices < 500 && waitpid(worker, &status, WNOHANG) == 0; ++slices)
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  return status;
}

}  // namespace

int serveWorkers(int control, bool opensAtOnce) {
  int status = 0;
  for (bool isFirst = true;; isFirst = false) {
    int ends[2];
    const int mark = makeCallMark();
    if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0) _exit(EXIT_FAILURE);
    // What the first search would wait for is begun while nobody waits.
    if (isFirst && opensAtOnce) KeyChannel(ends[0]).send(jsonxx::Object("question", "open"));
    const pid_t self = getpid();
    const pid_t worker = fork();
    if (worker == 0) {
      prctl(PR_SET_PDEATHSIG, SIGKILL);
      if (getppid() != self) _exit(EXIT_FAILURE);  // it has died meanwhile
      useCallMark(mapCallMark(mark));
      for (const int descriptor : {control, ends[0], mark}) close(descriptor);
      return ends[1];
    }
    // By its number: the function of glibc 2.36 is declared without C linkage.
    const int end = worker > 0 ? static_cast<int>(syscall(SYS_pidfd_open, worker, 0)) : -1;
    // What there is not, as on old kernels or where no file may grow, the socket stands for.
    const int descriptors[] = {ends[0], mark >= 0 ? mark : ends[0], end >= 0 ? end : ends[0]};
    if (worker < 0 || !handOver(control, status, descriptors)) _exit(EXIT_FAILURE);
    for (const int descriptor : {ends[0], ends[1], mark, end})
      if (descriptor >= 0) close(descriptor);
    char wish = 0;
    if (read(control, &wish, sizeof wish) <= 0) _exit(EXIT_SUCCESS);
    status = endOf(worker);
  }
}

bool takeWorker(KeyProgram& program, int& formerStatus) {
  iovec data{&formerStatus, sizeof formerStatus};
  Control ancillary{};
  msghdr message = messageOf(data, ancillary);
  pollfd readable{program.control, POLLIN, 0};
  if (poll(&readable, 1, kPatience) <= 0 ||
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

}  // namespace vorn::keys
