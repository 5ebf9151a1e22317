#include "linux/app/ProtocolChannel.h"

#include <poll.h>
#include <unistd.h>

#include <array>
#include <cerrno>

#include "shared/messaging/MessageExchange.h"

namespace vorn {
namespace {

/** Waits for a descriptor that was set not to block, by whoever shares it with us. */
void waitUntilWritable(int descriptor) {
  pollfd writable{descriptor, POLLOUT, 0};
  poll(&writable, 1, -1);
}

}  // namespace

std::optional<std::string_view> ProtocolChannel::read(int milliseconds) {
  static std::array<char, 1 << 16> bytes;  // what a pipe holds
  pollfd readable{descriptors_.input, POLLIN, 0};
  if (poll(&readable, 1, milliseconds) <= 0) {
    return std::nullopt;
  }
  const ssize_t count = ::read(descriptors_.input, bytes.data(), bytes.size());
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
    const ssize_t count = ::write(descriptors_.output, bytes.data(), bytes.size());
    if (count >= 0) {
      bytes.remove_prefix(static_cast<std::size_t>(count));
    } else if (errno == EAGAIN) {
      waitUntilWritable(descriptors_.output);
    } else if (errno != EINTR) {
      throw OutputClosedException();
    }
  }
}

}  // namespace vorn
