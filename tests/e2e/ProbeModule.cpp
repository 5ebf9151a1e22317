// A token module that a test registers in its key store: it tries, inside the host, what the host may not do,
// writes down how that went, and then is no module. Each line is a name and the number of the error, 0 for
// none.

#include <linux/netlink.h>
#include <sys/prctl.h>
#include <sys/ptrace.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

namespace {

constexpr int kNobody = 0x3FFFFFFF;  // no process has this number

int errorOf(long result) {
  return result < 0 ? errno : 0;
}

int errorOfSocket(long family, int type = SOCK_DGRAM, int protocol = 0) {
  const long descriptor = syscall(SYS_socket, family, type, protocol);
  const int error = errorOf(descriptor);
  if (descriptor >= 0) close(static_cast<int>(descriptor));
  return error;
}

/** Threads without the filter. */
int freeThreads() {
  int count = 0;
  for (const auto& thread : std::filesystem::directory_iterator("/proc/self/task")) {
    std::ifstream status(thread.path() / "status");
    std::string word;
    while (status >> word && word != "Seccomp:") {
    }
    int mode = 0;
    status >> mode;
    if (mode != 2) ++count;
  }
  return count;
}

/** socket(AF_INET, SOCK_STREAM) as the other two kinds of program on this processor call it. */
int errorOfX32() {
#ifdef __x86_64__
  return errorOf(syscall(0x40000000L | SYS_socket, AF_INET, SOCK_STREAM, 0));
#else
  return ENOSYS;
#endif
}

int errorOf32Bit() {
#ifdef __x86_64__
  // In a process of its own: a kernel that has no such calls ends it.
  const pid_t child = fork();
  if (child == 0) {
    constexpr long kSocket = 359;
    long result = kSocket;
    asm volatile("int $0x80"
                 : "+a"(result)
                 : "b"(AF_INET), "c"(SOCK_STREAM), "d"(0)
                 : "memory", "r8", "r9", "r10", "r11");
    _exit(result < 0 ? static_cast<int>(-result) : 0);
  }
  int status = 0;
  waitpid(child, &status, 0);
  return WIFEXITED(status) ? WEXITSTATUS(status) : ENOSYS;
#else
  return ENOSYS;
#endif
}

void probe(std::ostream& report) {
  rlimit core{1, 1};
  getrlimit(RLIMIT_CORE, &core);
  report << "inet " << errorOfSocket(AF_INET, SOCK_STREAM) << "\n"
         << "inet6 " << errorOfSocket(AF_INET6) << "\n"
         << "inet-wide " << errorOfSocket((1L << 32) | AF_INET) << "\n"
         << "packet " << errorOfSocket(AF_PACKET, SOCK_RAW) << "\n"
         << "vsock " << errorOfSocket(AF_VSOCK, SOCK_STREAM) << "\n"
         << "route " << errorOfSocket(AF_NETLINK, SOCK_RAW, NETLINK_ROUTE) << "\n"
         << "devices " << errorOfSocket(AF_NETLINK, SOCK_RAW, NETLINK_KOBJECT_UEVENT) << "\n"
         << "unix " << errorOfSocket(AF_UNIX, SOCK_STREAM) << "\n"
         << "x32 " << errorOfX32() << "\n"
         << "i386 " << errorOf32Bit() << "\n"
         << "ring " << errorOf(syscall(SYS_io_uring_setup, 1, nullptr)) << "\n"
         << "ptrace " << errorOf(ptrace(PTRACE_ATTACH, kNobody, nullptr, nullptr)) << "\n"
         << "memory " << errorOf(syscall(SYS_process_vm_readv, kNobody, nullptr, 0, nullptr, 0, 0)) << "\n"
         << "descriptor " << errorOf(syscall(SYS_pidfd_getfd, -1, 0, 0)) << "\n"
         << "unshare " << errorOf(syscall(SYS_unshare, -1)) << "\n"
         << "faults " << errorOf(syscall(SYS_userfaultfd, -1)) << "\n"
         << "programs " << errorOf(syscall(SYS_bpf, -1, nullptr, 0)) << "\n"
         << "keys " << errorOf(syscall(SYS_keyctl, -1)) << "\n"
         << "key " << errorOf(syscall(SYS_add_key, nullptr, nullptr, nullptr, 0, 0)) << "\n"
         << "threads " << freeThreads() << "\n"
         << "core " << core.rlim_cur + core.rlim_max << "\n"
         << "dumpable " << prctl(PR_GET_DUMPABLE) << "\n"
         << "program " << std::system("exit 7") / 256 << "\n";
}

}  // namespace

extern "C" unsigned long C_GetFunctionList(void*) {
  constexpr unsigned long kGeneralError = 5;
  std::ofstream report(std::getenv("VORN_PROBE"));
  probe(report);
  return kGeneralError;
}
