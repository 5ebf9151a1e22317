#include <log4cplus/logger.h>
#include <log4cplus/loggingmacros.h>

#include <malloc.h>

#include <array>
#include <cstdlib>
#include <exception>
#include <optional>
#include <string_view>
#include <system_error>
#include <utility>

#include "linux/app/SigningModule.h"
#include "linux/processes/Sandbox.h"
#include "shared/base/Descriptor.h"
#include "shared/base/IdleTimer.h"
#include "shared/base/Logging.h"
#include "shared/base/Requester.h"
#include "shared/messaging/MessageExchange.h"
#include "shared/messaging/ProtocolDescriptors.h"

using namespace vorn;

namespace {

const log4cplus::Logger logger = log4cplus::Logger::getInstance(LOG4CPLUS_TEXT("VORNSigning"));

constexpr int kSliceMilliseconds = 1000;

void endInOrder() {
  std::set_terminate(&MessageExchange::answerAndEnd);
}

// Before the libraries are initialised: the logging library starts threads
// then, and there may be no room for them.
[[maybe_unused]] __attribute__((section(".preinit_array"), used)) void (*const kFirst)() = &endInOrder;

/** The memory of a signed document is as much as the next one needs: keeps it from going back to the system,
 * and coming again page by page, between documents that follow each other. */
void keepFreedMemory() {
  // Blocks beyond the first go back to the system as they are freed. None of a usual request is as large.
  constexpr int kLargestKept = 32 << 20;
  constexpr int kKept = 256 << 20;
  mallopt(M_MMAP_THRESHOLD, kLargestKept);
  mallopt(M_TRIM_THRESHOLD, kKept);
}

/** Waits at most `milliseconds` for input. Nothing when none came; empty at the end of input; otherwise what
 * could be read at once, valid until the next call. Throws std::system_error when no wait is possible. */
std::optional<std::string_view> readFrom(int input, int milliseconds) {
  static std::array<char, 1 << 16> bytes;  // what a pipe holds
  pollfd readable{input, POLLIN, 0};
  const int ready = poll(&readable, 1, milliseconds);
  if (ready < 0 && errno != EINTR && errno != EAGAIN)
    throw std::system_error(errno, std::generic_category(), "no waiting for requests");
  if (ready <= 0) return std::nullopt;
  const ssize_t count = read(input, bytes.data(), bytes.size());
  if (count < 0 && (errno == EAGAIN || errno == EINTR)) return std::nullopt;
  // An input that cannot be read has ended.
  return std::string_view(bytes.data(), count < 0 ? 0 : static_cast<std::size_t>(count));
}

}  // namespace

int main(int argc, const char** argv) {
  const ProtocolDescriptors descriptors = takeProtocolDescriptors();
  greetTerminal(descriptors.input);
  requester::watch({descriptors.input, descriptors.output});
  keepFreedMemory();
  openSigningFiles();
  logging::setUp();
  LOG4CPLUS_INFO(logger, "Executable launched");
  logArguments(argc, argv);
  const std::string fault = enterSandbox();
  if (fault.empty())
    LOG4CPLUS_INFO(logger, "The kernel keeps network and other processes from this one");
  else
    LOG4CPLUS_WARN(logger, fault);

  MessageExchange exchange([descriptors](std::string_view bytes) { descriptors.write(bytes); });
  IdleTimer& idleTimer = IdleTimer::getInstance();
  idleTimer.start();
  bool hasWorked = false;
  do {
    const std::optional<std::string_view> input = readFrom(descriptors.input, kSliceMilliseconds);
    if (!input) {
      if (std::exchange(hasWorked, false)) malloc_trim(0);
      continue;
    }
    hasWorked = true;
    idleTimer.stop();
    if (input->empty()) break;
    if (const std::optional<int> status = exchange.deliver(*input)) return *status;
  } while (!idleTimer.hasExpired() && !isSigningOver());
  LOG4CPLUS_INFO(logger, "Executable removed");
  return EXIT_SUCCESS;
}
