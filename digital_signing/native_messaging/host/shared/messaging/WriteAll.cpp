#include "shared/messaging/WriteAll.h"

#include <poll.h>
#include <unistd.h>

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

void writeAll(int descriptor, std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t count = ::write(descriptor, bytes.data(), bytes.size());
    if (count >= 0)
      bytes.remove_prefix(static_cast<std::size_t>(count));
    else if (errno == EAGAIN)
      waitUntilWritable(descriptor);
    else if (errno != EINTR)
      throw OutputClosedException();
  }
}

}  // namespace vorn
