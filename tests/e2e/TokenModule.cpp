// The software token as tests need it; which of these it is, is said by files and the environment:
// - A card, if CARD is set, which is in its reader while that file is there. It holds how many wrong PINs the
//   card still bears, at first three. With CARD_KEYS the reader has keys, on which what stands in that file
//   is typed, once it is there.
// - A library with a fault, while there is a file of its own name with ".fault" behind it. That names a
//   function, or "dlopen", and what the library does when it is called: a word of `misbehave`.
// - One that tries what the process that loads it may not do, and writes down in VORN_PROBE how that went:
// the
//   fault "probe".

#include <dlfcn.h>
#include <linux/netlink.h>
#include <pkcs11.h>
#include <sched.h>
#include <sys/prctl.h>
#include <sys/ptrace.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <string_view>
#include <thread>

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
         << "clone " << errorOf(syscall(SYS_clone, CLONE_NEWUSER | CLONE_FS, nullptr, nullptr, nullptr, 0))
         << "\n"
         << "clone3 " << errorOf(syscall(SYS_clone3, nullptr, 0)) << "\n"
         << "setns " << errorOf(syscall(SYS_setns, -1, 0)) << "\n"
         << "faults " << errorOf(syscall(SYS_userfaultfd, -1)) << "\n"
         << "programs " << errorOf(syscall(SYS_bpf, -1, nullptr, 0)) << "\n"
         << "keys " << errorOf(syscall(SYS_keyctl, -1)) << "\n"
         << "key " << errorOf(syscall(SYS_add_key, nullptr, nullptr, nullptr, 0, 0)) << "\n"
         << "threads " << freeThreads() << "\n"
         << "core " << core.rlim_cur + core.rlim_max << "\n"
         << "dumpable " << prctl(PR_GET_DUMPABLE) << "\n"
         << "program " << std::system("exit 7") / 256 << "\n";
}

/** What is wrong with the library, when `function` is called; CKR_OK when it is to go on. */
CK_RV misbehave(std::string_view function) {
  Dl_info self{};
  dladdr(reinterpret_cast<void*>(&misbehave), &self);
  std::ifstream file(self.dli_fname + std::string(".fault"));
  std::string faulty;
  std::string deed;
  if (!(file >> faulty >> deed) || (faulty != function && faulty != "any")) return CKR_OK;
  std::ofstream(self.dli_fname + std::string(".met"));
  if (deed == "hang")
    while (true) pause();
  if (deed == "spin")
    for (volatile bool forever = true; forever;) continue;
  if (deed == "crash") std::abort();
  if (deed == "exit") std::exit(0);
  if (deed == "fail") return CKR_DEVICE_ERROR;
  if (deed == "slow") std::this_thread::sleep_for(std::chrono::milliseconds(200));
  if (deed == "probe") {
    std::ofstream report(std::getenv("VORN_PROBE"));
    probe(report);
    return CKR_DEVICE_ERROR;
  }
  if (deed == "print") {
    const std::string noise(1 << 20, 'x');
    for (const int descriptor : {STDOUT_FILENO, STDERR_FILENO})
      if (write(descriptor, noise.data(), noise.size()) < 0) continue;
  }
  if (deed == "close")
    for (int descriptor = 0; descriptor < 1024; ++descriptor) close(descriptor);
  if (deed == "signals") {
    sigset_t all{};
    sigfillset(&all);
    sigprocmask(SIG_BLOCK, &all, nullptr);
    for (int signal = 1; signal < SIGRTMIN; ++signal) std::signal(signal, SIG_IGN);
    while (true) pause();
  }
  return CKR_OK;
}

CK_FUNCTION_LIST* token = nullptr;

bool isIn() {
  return std::getenv("CARD") == nullptr || access(std::getenv("CARD"), F_OK) == 0;
}

unsigned triesLeft() {
  unsigned tries = 3;
  std::ifstream(std::getenv("CARD")) >> tries;
  return tries;
}

void setTries(unsigned tries) {
  std::ofstream(std::getenv("CARD")) << tries;
}

CK_RV slotInfo(CK_SLOT_ID slot, CK_SLOT_INFO_PTR information) {
  const CK_RV result = token->C_GetSlotInfo(slot, information);
  information->flags |= CKF_REMOVABLE_DEVICE;
  if (!isIn()) information->flags &= ~CK_FLAGS{CKF_TOKEN_PRESENT};
  return result;
}

CK_RV tokenInfo(CK_SLOT_ID slot, CK_TOKEN_INFO_PTR information) {
  if (!isIn()) return CKR_TOKEN_NOT_PRESENT;
  const CK_RV result = token->C_GetTokenInfo(slot, information);
  const unsigned tries = triesLeft();
  CK_FLAGS& flags = information->flags;
  flags &= ~CK_FLAGS{CKF_USER_PIN_COUNT_LOW};
  if (tries < 3) flags |= CKF_USER_PIN_COUNT_LOW;
  if (tries == 1) flags |= CKF_USER_PIN_FINAL_TRY;
  if (tries == 0) flags |= CKF_USER_PIN_LOCKED;
  if (std::getenv("CARD_KEYS") != nullptr) flags |= CKF_PROTECTED_AUTHENTICATION_PATH;
  return result;
}

CK_RV login(CK_SESSION_HANDLE session, CK_USER_TYPE user, CK_UTF8CHAR_PTR pin, CK_ULONG length) {
  const unsigned tries = triesLeft();
  if (tries == 0) return CKR_PIN_LOCKED;
  std::string typed;
  if (pin == nullptr) {
    do std::this_thread::sleep_for(std::chrono::milliseconds(300));  // people are slower
    while (access(std::getenv("CARD_KEYS"), F_OK) != 0);
    std::ifstream(std::getenv("CARD_KEYS")) >> typed;
    pin = reinterpret_cast<CK_UTF8CHAR_PTR>(typed.data());
    length = typed.size();
  }
  const CK_RV result = token->C_Login(session, user, pin, length);
  if (result == CKR_OK) setTries(3);
  if (result == CKR_PIN_INCORRECT) setTries(tries - 1);
  return result;
}

template <std::size_t length>
struct Name {
  char text[length];
  constexpr Name(const char (&name)[length]) { std::copy_n(name, length, text); }
};

/** The card's function, but for the library's fault; the card has to be in for what speaks to it. */
template <auto member, Name name>
struct Call;
template <typename... Arguments, CK_RV (*CK_FUNCTION_LIST::*member)(Arguments...), Name name>
struct Call<member, name> {
  static inline CK_RV (*original)(Arguments...) = nullptr;
  static CK_RV run(Arguments... arguments) {
    if (const CK_RV fault = misbehave(name.text); fault != CKR_OK) return fault;
    constexpr std::string_view kToCard[] = {"C_OpenSession", "C_GetSessionInfo", "C_FindObjectsInit",
                                            "C_SignInit"};
    if (std::find(std::begin(kToCard), std::end(kToCard), name.text) != std::end(kToCard) && !isIn())
      return CKR_TOKEN_NOT_PRESENT;
    const CK_RV result = original(arguments...);
    // Several of these may stand on one token.
    return result == CKR_CRYPTOKI_ALREADY_INITIALIZED ? CKR_OK : result;
  }
};

const CK_RV atStart = misbehave("dlopen");

}  // namespace

extern "C" CK_RV C_GetFunctionList(CK_FUNCTION_LIST** functions) {
  if (const CK_RV fault = misbehave("C_GetFunctionList"); fault != CKR_OK) return fault;
  static CK_FUNCTION_LIST list = [] {
    void* const library = dlopen("/usr/lib/softhsm/libsofthsm2.so", RTLD_NOW);
    reinterpret_cast<CK_C_GetFunctionList>(dlsym(library, "C_GetFunctionList"))(&token);
    CK_FUNCTION_LIST card = *token;
    if (std::getenv("CARD") != nullptr) {
      card.C_GetSlotInfo = &slotInfo;
      card.C_GetTokenInfo = &tokenInfo;
      card.C_Login = &login;
    }
#define CK_PKCS11_2_0_ONLY 1
#define CK_PKCS11_FUNCTION_INFO(function)                                 \
  Call<&CK_FUNCTION_LIST::function, #function>::original = card.function; \
  card.function = &Call<&CK_FUNCTION_LIST::function, #function>::run;
#include <pkcs11f.h>
    return card;
  }();
  *functions = &list;
  return CKR_OK;
}
