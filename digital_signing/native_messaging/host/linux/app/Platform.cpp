#include "shared/base/Platform.h"

#include <pwd.h>
#include <sys/auxv.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/utsname.h>
#include <syslog.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <ctime>
#include <filesystem>
#include <system_error>

#include "shared/base/Descriptor.h"

namespace vorn {
namespace {

int systemLog = -1;

}  // namespace

namespace platform {

std::string homeFolder() {
  std::string path = environment("HOME");
  if (path.empty())
    if (const passwd* const user = getpwuid(getuid()); user != nullptr && user->pw_dir != nullptr)
      path = user->pw_dir;
  while (path.size() > 1 && path.back() == '/') path.pop_back();
  return path;
}

SystemVersion systemVersion() {
  SystemVersion version;
  utsname names{};
  if (uname(&names) == 0) {
    // "6.1.0-18-amd64": what does not look like a number is left at 0.
    std::sscanf(names.release, "%d.%d.%d", &version.major, &version.minor, &version.bugFix);
  }
  return version;
}

std::string installedPath() {
  std::error_code failure;
  const std::filesystem::path program = std::filesystem::read_symlink("/proc/self/exe", failure);
  if (!program.empty()) return program.string();
  // Without /proc: what the kernel was told to execute.
  const auto* const executed = reinterpret_cast<const char*>(getauxval(AT_EXECFN));
  return executed != nullptr ? std::filesystem::canonical(executed, failure).string() : "";
}

void openSystemLog() {
  systemLog = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
}

// What syslog(3) does, which is of no use here: after a failure it makes a new socket, which the sandbox may
// refuse, it tells nobody of it, and it waits for a listener that does not read.
std::string tellSystemLog(int level, const std::string& line) {
  const std::time_t now = std::time(nullptr);
  std::tm local{};
  localtime_r(&now, &local);
  char time[32] = "";
  std::strftime(time, sizeof time, "%b %e %T", &local);
  const std::string message = "<" + std::to_string(LOG_USER | level) + ">" + time + " vorn-signing[" +
                              std::to_string(getpid()) + "]: " + line;
  const auto isTaken = [&message] {
    return send(systemLog, message.data(), message.size(), MSG_DONTWAIT | MSG_NOSIGNAL) >= 0;
  };
  // Whoever listens may have been started anew since the last line.
  constexpr sockaddr_un kListener{AF_UNIX, _PATH_LOG};
  const auto isConnected = [&kListener] {
    return connect(systemLog, reinterpret_cast<const sockaddr*>(&kListener), sizeof kListener) == 0;
  };
  // For one that has fallen behind: a second in ten, and none for one that has taken nothing since the last.
  using std::chrono::milliseconds, std::chrono::steady_clock;
  constexpr milliseconds kLongestWait{1000}, kInterval{10000};
  static milliseconds patience = kLongestWait;
  static steady_clock::time_point renewal;
  const steady_clock::time_point start = steady_clock::now();
  bool isTold = isTaken() || (errno != EAGAIN && isConnected() && isTaken());
  if (!isTold && errno == EAGAIN && patience > milliseconds::zero()) {
    isReady(systemLog, POLLOUT, static_cast<int>(patience.count()));
    patience -= std::chrono::ceil<milliseconds>(steady_clock::now() - start);
    isTold = isTaken();
  }
  const int fault = errno;
  if (isTold && start >= renewal) {
    patience = kLongestWait;
    renewal = start + kInterval;
  }
  return isTold ? "" : std::generic_category().message(fault);
}

}  // namespace platform

}  // namespace vorn
