#include "linux/frameworks/Security/ModuleProbe.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <pkcs11.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdint>
#include <sstream>
#include <system_error>
#include <vector>

namespace vorn::frameworks {
namespace {

std::string failed(const char* function, CK_RV code) {
  std::ostringstream text;
  text << function << " of the module fails (PKCS #11 error 0x" << std::hex << code << ")";
  return text.str();
}

/** What NSS does with a token while it loads the module; whether it succeeds is for NSS to see. */
void tryToken(const CK_FUNCTION_LIST& functions, CK_SLOT_ID slot) {
  CK_SLOT_INFO reader{};
  if (functions.C_GetSlotInfo(slot, &reader) != CKR_OK || (reader.flags & CKF_TOKEN_PRESENT) == 0) return;
  CK_TOKEN_INFO token{};
  if (functions.C_GetTokenInfo(slot, &token) != CKR_OK) return;
  CK_ULONG count = 0;
  functions.C_GetMechanismList(slot, nullptr, &count);
  CK_SESSION_HANDLE session = CK_INVALID_HANDLE;
  if (functions.C_OpenSession(slot, CKF_SERIAL_SESSION, nullptr, nullptr, &session) == CKR_OK)
    functions.C_CloseSession(session);
}

/** What NSS does first with a module. The empty text when all is well. */
std::string tryModule(const TokenModule& module) {
  void* const library = dlopen(module.library.c_str(), RTLD_NOW | RTLD_LOCAL);
  if (library == nullptr) return dlerror();
  const auto list = reinterpret_cast<CK_C_GetFunctionList>(dlsym(library, "C_GetFunctionList"));
  CK_FUNCTION_LIST* functions = nullptr;
  if (list == nullptr || list(&functions) != CKR_OK || functions == nullptr)
    return "it is no PKCS #11 module";
  std::string parameters = module.parameters;
  CK_C_INITIALIZE_ARGS arguments{};
  arguments.flags = CKF_OS_LOCKING_OK;
  arguments.LibraryParameters =
      parameters.empty() ? nullptr : reinterpret_cast<CK_CHAR_PTR*>(parameters.data());
  if (const CK_RV code = functions->C_Initialize(&arguments);
      code != CKR_OK && code != CKR_CRYPTOKI_ALREADY_INITIALIZED)
    return failed("C_Initialize", code);
  CK_ULONG count = 0;
  if (const CK_RV code = functions->C_GetSlotList(CK_FALSE, nullptr, &count); code != CKR_OK)
    return failed("C_GetSlotList", code);
  std::vector<CK_SLOT_ID> slots(count);
  functions->C_GetSlotList(CK_FALSE, slots.data(), &count);
  slots.resize(std::min<std::size_t>(count, slots.size()));
  for (const CK_SLOT_ID slot : slots) tryToken(*functions, slot);
  return {};
}

[[noreturn]] void runProbe(const TokenModule& module, pid_t parent, int report) {
  // The parent may have ended before this was asked for.
  if (prctl(PR_SET_PDEATHSIG, SIGKILL) != 0 || getppid() != parent) _exit(1);
  // A crash of the module is no crash of this program's.
  for (const int signal : {SIGSEGV, SIGABRT, SIGBUS, SIGILL, SIGFPE}) std::signal(signal, SIG_DFL);
  const std::string fault = tryModule(module);
  const ssize_t written = write(report, fault.data(), fault.size());
  _exit(written == static_cast<ssize_t>(fault.size()) ? 0 : 1);
}

}  // namespace

ModuleProbe::ModuleProbe(const TokenModule& module) {
  int ends[2];
  if (pipe2(ends, O_CLOEXEC | O_NONBLOCK) != 0) return;
  report_ = ends[0];
  const pid_t parent = getpid();
  child_ = fork();
  if (child_ == 0) runProbe(module, parent, ends[1]);
  close(ends[1]);
  // By its number: the function of glibc 2.36 is declared without C linkage.
  if (child_ > 0) end_ = static_cast<int>(syscall(SYS_pidfd_open, child_, 0));
}

ModuleProbe::~ModuleProbe() {
  if (child_ > 0) {
    kill(child_, SIGKILL);
    // A process that not even this ends waits for its device; nobody is to wait along with it.
    waitpid(child_, nullptr, WNOHANG);
  }
  for (const int descriptor : {report_, end_})
    if (descriptor >= 0) close(descriptor);
}

std::optional<std::string> ModuleProbe::fault(std::chrono::steady_clock::time_point deadline) {
  if (end_ < 0) return "it cannot be tried: " + std::generic_category().message(errno);
  // Rounded up: a wait that ends before the deadline would be no sign of a library that hangs.
  const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
  pollfd descriptor{end_, POLLIN, 0};
  if (poll(&descriptor, 1, static_cast<int>(std::max<std::int64_t>(left.count(), 0))) <= 0)
    return "it does not answer";
  int status = 0;
  waitpid(child_, &status, 0);
  child_ = -1;
  if (WIFSIGNALED(status)) return "it crashes (signal " + std::to_string(WTERMSIG(status)) + ")";
  char text[512];
  const ssize_t length = read(report_, text, sizeof text);
  if (length > 0) return std::string(text, static_cast<std::size_t>(length));
  return WEXITSTATUS(status) == 0 ? std::nullopt
                                  : std::optional<std::string>("it ends the process that loads it");
}

}  // namespace vorn::frameworks
