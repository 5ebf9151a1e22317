#include "linux/processes/Sandbox.h"

#include <linux/netlink.h>
#include <sched.h>
#include <seccomp.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/socket.h>

#include <cerrno>
#include <cstdint>
#include <memory>
#include <string>
#include <system_error>

#include "shared/base/Descriptor.h"
#include "shared/base/Platform.h"

namespace vorn {
namespace {

// The sanitizers' check for leaks traces the process that it checks, and a debugger wants to as well.
constexpr bool kTraceable = VORN_TRACEABLE != 0;

struct Release {
  void operator()(void* context) const { seccomp_release(context); }
};

/** The system calls to refuse; all others pass. The first fault is kept, and the filter is of no use then. */
class Filter {
 public:
  Filter() : context_(seccomp_init(SCMP_ACT_ALLOW)) {
    if (!context_) {
      fault_ = -ENOMEM;
      return;
    }
    // log4cplus has started its threads by now. Calls by another ABI, which could go round the rules, are not
    // known.
    set(SCMP_FLTATR_CTL_TSYNC, 1);
    set(SCMP_FLTATR_ACT_BADARCH, SCMP_ACT_ERRNO(ENOSYS));
  }

  void refuse(int call, int error) { add(error, call, 0, nullptr); }
  void refuse(int call, int error, scmp_arg_cmp condition) { add(error, call, 1, &condition); }
  void refuse(int call, int error, scmp_arg_cmp first, scmp_arg_cmp second) {
    const scmp_arg_cmp both[] = {first, second};
    add(error, call, 2, both);
  }

  /** 0, or the negative number of the error. */
  int load() {
    if (fault_ == 0) fault_ = seccomp_load(context_.get());
    return fault_;
  }

 private:
  void set(scmp_filter_attr attribute, std::uint32_t value) {
    if (fault_ == 0) fault_ = seccomp_attr_set(context_.get(), attribute, value);
  }
  void add(int error, int call, unsigned count, const scmp_arg_cmp* conditions) {
    const std::uint32_t action = SCMP_ACT_ERRNO(static_cast<std::uint16_t>(error));
    if (fault_ == 0) fault_ = seccomp_rule_add_array(context_.get(), action, call, count, conditions);
  }

  std::unique_ptr<void, Release> context_;
  int fault_ = 0;
};

/** All families but AF_UNIX. The whole register is compared, of which the kernel takes the lower half. */
void refuseNetwork(Filter& filter) {
  for (scmp_datum_t family = 0; family < AF_NETLINK; ++family)
    if (family != AF_UNIX) filter.refuse(SCMP_SYS(socket), EAFNOSUPPORT, SCMP_A0(SCMP_CMP_EQ, family));
  filter.refuse(SCMP_SYS(socket), EAFNOSUPPORT, SCMP_A0(SCMP_CMP_EQ, AF_NETLINK),
                SCMP_A2(SCMP_CMP_NE, NETLINK_KOBJECT_UEVENT));
  filter.refuse(SCMP_SYS(socket), EAFNOSUPPORT, SCMP_A0(SCMP_CMP_GT, AF_NETLINK));
  filter.refuse(SCMP_SYS(socketpair), EAFNOSUPPORT, SCMP_A0(SCMP_CMP_NE, AF_UNIX));
}

/** io_uring makes sockets, and connects them, without the system calls for it. */
void refuseRings(Filter& filter) {
  for (const int call : {SCMP_SYS(io_uring_setup), SCMP_SYS(io_uring_enter), SCMP_SYS(io_uring_register)})
    filter.refuse(call, ENOSYS);
}

void refuseTracing(Filter& filter) {
  for (const int call : {SCMP_SYS(process_vm_readv), SCMP_SYS(process_vm_writev), SCMP_SYS(pidfd_getfd),
                         SCMP_SYS(process_madvise), SCMP_SYS(kcmp), SCMP_SYS(perf_event_open)})
    filter.refuse(call, EPERM);
  if (!kTraceable) filter.refuse(SCMP_SYS(ptrace), EPERM);
}

/** What attacks on the kernel begin with, and neither documents nor cards need. */
void refuseKernelParts(Filter& filter) {
  for (const int call : {SCMP_SYS(userfaultfd), SCMP_SYS(unshare), SCMP_SYS(setns), SCMP_SYS(bpf),
                         SCMP_SYS(keyctl), SCMP_SYS(add_key), SCMP_SYS(request_key)})
    filter.refuse(call, EPERM);
  filter.refuse(SCMP_SYS(clone), EPERM, SCMP_A0(SCMP_CMP_MASKED_EQ, CLONE_NEWUSER, CLONE_NEWUSER));
  // Its flags lie in memory, where no filter looks; the C library goes on with clone.
  filter.refuse(SCMP_SYS(clone3), ENOSYS);
}

/** Whether the kernel refuses what the filter is to keep from the host: the proof of it. */
bool isNetworkRefused() {
  return !Descriptor(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
}

void forbidCoreDumps() {
  const rlimit none{0, 0};
  setrlimit(RLIMIT_CORE, &none);
  // The limit does not count where the kernel hands the dump to a program.
  if (!kTraceable) prctl(PR_SET_DUMPABLE, 0);
}

}  // namespace

std::string refuseToReaders() {
  Filter filter;
  for (const int call : {SCMP_SYS(socket), SCMP_SYS(socketpair), SCMP_SYS(bind), SCMP_SYS(listen),
                         SCMP_SYS(accept), SCMP_SYS(accept4), SCMP_SYS(execve), SCMP_SYS(execveat)})
    filter.refuse(call, EPERM);
  const int fault = filter.load();
  return fault == 0 ? ""
                    : "The kernel does not keep sockets and programs from this process: " +
                          std::generic_category().message(-fault);
}

std::string enterSandbox() {
  forbidCoreDumps();
  const bool networkAllowed = platform::environment("VORN_ALLOW_NETWORK") == "ON";
  Filter filter;
  if (!networkAllowed) refuseNetwork(filter);
  refuseRings(filter);
  refuseTracing(filter);
  refuseKernelParts(filter);
  if (const int fault = filter.load(); fault != 0)
    return "The kernel does not keep network and other processes from this one: " +
           std::generic_category().message(-fault);
  if (networkAllowed)
    return "VORN_ALLOW_NETWORK is set: the kernel keeps other processes, but no network from this one";
  return isNetworkRefused() ? ""
                            : "The kernel has taken the rules against network use, and does not follow them";
}

}  // namespace vorn
