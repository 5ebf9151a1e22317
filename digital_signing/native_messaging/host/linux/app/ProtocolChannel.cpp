#include "linux/app/ProtocolChannel.h"

#include <poll.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <system_error>

#include "shared/messaging/ProtocolDescriptors.h"

namespace vorn {

std::optional<std::string_view> ProtocolChannel::read(int milliseconds) {
  static std::array<char, 1 << 16> bytes;  // what a pipe holds
  pollfd readable{descriptors_.input, POLLIN, 0};
  const int ready = poll(&readable, 1, milliseconds);
  if (ready < 0 && errno != EINTR && errno != EAGAIN)
    throw std::system_error(errno, std::generic_category(), "no waiting for requests");
  if (ready <= 0) return std::nullopt;
  const ssize_t count = ::read(descriptors_.input, bytes.data(), bytes.size());
  if (count < 0) {
    if (errno == EAGAIN || errno == EINTR) return std::nullopt;
    return std::string_view();  // an input that cannot be read has ended
  }
  return std::string_view(bytes.data(), static_cast<std::size_t>(count));
}

void ProtocolChannel::write(std::string_view bytes) {
  writeAll(descriptors_.output, bytes);
}

}  // namespace vorn
