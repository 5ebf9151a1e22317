#include "linux/app/ProtocolChannel.h"

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>

#include "shared/MessageExchange.h"

namespace {

constexpr int kFirstFreeDescriptor = 3;  // after standard input, output and error

/** A descriptor that was closed when the host was started would be taken by the first file that is opened. */
void fillClosedDescriptors() {
  for (int standard = 0; standard < kFirstFreeDescriptor; ++standard) {
    if (fcntl(standard, F_GETFD) < 0 && errno == EBADF) {
      [[maybe_unused]] const int lowestFree = open("/dev/null", O_RDWR);
    }
  }
}

int moveAway(int descriptor) { return fcntl(descriptor, F_DUPFD_CLOEXEC, kFirstFreeDescriptor); }

/** Waits for a descriptor that was set not to block, by whoever shares it with us. */
void waitUntilWritable(int descriptor) {
  pollfd writable{descriptor, POLLOUT, 0};
  poll(&writable, 1, -1);
}

}  // namespace

ProtocolChannel::ProtocolChannel() {
  fillClosedDescriptors();
  input_ = moveAway(STDIN_FILENO);
  output_ = moveAway(STDOUT_FILENO);
  dup2(STDERR_FILENO, STDOUT_FILENO);
  const int nothing = open("/dev/null", O_RDONLY | O_CLOEXEC);
  dup2(nothing, STDIN_FILENO);
  close(nothing);
  std::signal(SIGPIPE, SIG_IGN);
}

bool ProtocolChannel::inputIsTerminal() const { return isatty(input_) == 1; }

std::optional<std::string_view> ProtocolChannel::read(int milliseconds) {
  static std::array<char, 1 << 16> bytes;  // what a pipe holds
  pollfd readable{input_, POLLIN, 0};
  if (poll(&readable, 1, milliseconds) <= 0) {
    return std::nullopt;
  }
  const ssize_t count = ::read(input_, bytes.data(), bytes.size());
  if (count < 0) {
    if (errno == EAGAIN || errno == EINTR) {
      return std::nullopt;
    }
    return std::string_view();  // an input that cannot be read has ended
  }
  return std::string_view(bytes.data(), static_cast<std::size_t>(count));
}

void ProtocolChannel::write(std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t count = ::write(output_, bytes.data(), bytes.size());
    if (count >= 0) {
      bytes.remove_prefix(static_cast<std::size_t>(count));
    } else if (errno == EAGAIN) {
      waitUntilWritable(output_);
    } else if (errno != EINTR) {
      throw OutputClosed();
    }
  }
}
