#include <log4cplus/logger.h>
#include <log4cplus/loggingmacros.h>

#include <cstdlib>
#include <exception>
#include <string_view>
#include <utility>

#include "linux/app/FreedMemory.h"
#include "linux/app/ProtocolChannel.h"
#include "linux/app/SigningModule.h"
#include "linux/processes/Sandbox.h"
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

}  // namespace

int main(int argc, const char** argv) {
  const ProtocolDescriptors descriptors = takeProtocolDescriptors();
  greetTerminal(descriptors.input);
  requester::watch({descriptors.input, descriptors.output});
  ProtocolChannel channel(descriptors);
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

  MessageExchange exchange([&channel](std::string_view bytes) { channel.write(bytes); });
  IdleTimer& idleTimer = IdleTimer::getInstance();
  idleTimer.start();
  bool hasWorked = false;
  do {
    const std::optional<std::string_view> input = channel.read(kSliceMilliseconds);
    if (!input) {
      if (std::exchange(hasWorked, false)) handBackFreedMemory();
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
