#include "shared/messaging/ProtocolDescriptors.h"

#include <csignal>
#include <cstdio>
#include <cstdlib>

#include "shared/base/Descriptor.h"
#include "shared/base/Version.h"
#include "shared/messaging/MessageExchange.h"

namespace vorn {
namespace {

constexpr int kFirstFreeDescriptor = 3;  // after standard input, output and error

/** A descriptor that was closed when the host was started would be taken by the first file that is opened. */
void fillClosedDescriptors() {
  for (int standard = 0; standard < kFirstFreeDescriptor; ++standard)
    if (fcntl(standard, F_GETFD) < 0 && errno == EBADF) [[maybe_unused]]
      const int lowestFree = open("/dev/null", O_RDWR);
}

int moveAway(int descriptor) {
  const int moved = fcntl(descriptor, F_DUPFD_CLOEXEC, kFirstFreeDescriptor);
  if (moved < 0) {
    std::perror("VORN Signing: no room for the browser's pipes among the files that this process may open");
    _exit(EXIT_FAILURE);
  }
  return moved;
}

}  // namespace

ProtocolDescriptors takeProtocolDescriptors() {
  fillClosedDescriptors();
  const ProtocolDescriptors descriptors{moveAway(STDIN_FILENO), moveAway(STDOUT_FILENO)};
  dup2(STDERR_FILENO, STDOUT_FILENO);
  emptyStandardInput();
  // A browser that has gone, or a log that may not grow, is an error of the
  // write and not the end of the process.
  std::signal(SIGPIPE, SIG_IGN);
  std::signal(SIGXFSZ, SIG_IGN);
  return descriptors;
}

void greetTerminal(int input) {
  if (isatty(input) == 1) {
    std::fprintf(
        stderr,
        "VORN Signing %s is a native-messaging host: a browser starts it for its extension and talks to it "
        "over standard input and output (Ctrl-D ends it).\n",
        version::kFull);
  }
}

void ProtocolDescriptors::write(std::string_view bytes) const {
  if (!writeAll(output, bytes)) throw OutputClosedException();
}

}  // namespace vorn
