#import <Foundation/Foundation.h>

#include <log4cplus/logger.h>
#include <log4cplus/loggingmacros.h>

#include <cstdlib>
#include <exception>

#include "shared/base/IdleTimer.h"
#include "shared/base/Logging.h"
#include "shared/base/Requester.h"
#include "shared/messaging/MessageExchange.h"
#include "shared/messaging/ProtocolDescriptors.h"

using namespace vorn;

namespace {

const log4cplus::Logger logger = log4cplus::Logger::getInstance(LOG4CPLUS_TEXT("VORNSigning"));

constexpr NSTimeInterval kSliceSeconds = 1.0;

void runLoopForOneSlice() {
  @autoreleasepool {
    [[NSRunLoop mainRunLoop] runUntilDate:[NSDate dateWithTimeIntervalSinceNow:kSliceSeconds]];
  }
}

/** What is there to be read; empty at the end of input, which a handle that cannot be read any more has
 * reached too. */
NSData* readAvailableData(NSFileHandle* input) {
  @try {
    return [input availableData];
  } @catch (NSException*) {
    return [NSData data];
  }
}

}  // namespace

int main(int argc, const char** argv) {
  std::set_terminate(&MessageExchange::answerAndEnd);
  const ProtocolDescriptors descriptors = takeProtocolDescriptors();
  greetTerminal(descriptors.input);
  requester::watch({descriptors.input, descriptors.output});

  NSAutoreleasePool* const pool = [[NSAutoreleasePool alloc] init];
  runLoopForOneSlice();
  logging::setUp();
  LOG4CPLUS_INFO(logger, "Executable launched");
  logArguments(argc, argv);

  NSFileHandle* const input = [[NSFileHandle alloc] initWithFileDescriptor:descriptors.input];
  [input waitForDataInBackgroundAndNotify];
  // Not by a file handle: it needs an object for each write, and a frame must not break off for want of one.
  auto* const exchange =
      new MessageExchange([descriptors](std::string_view bytes) { descriptors.write(bytes); });
  IdleTimer& idleTimer = IdleTimer::getInstance();
  idleTimer.start();

  // What a delivery has read goes with the delivery's own pool: the one around it lasts as long as
  // the process. No queue: the handler runs where the notification is posted, on this thread, within
  // the run loop.
  id const observer = [[NSNotificationCenter defaultCenter]
      addObserverForName:NSFileHandleDataAvailableNotification
                  object:input
                   queue:nil
              usingBlock:^(NSNotification*) {
                @autoreleasepool {
                  IdleTimer::getInstance().stop();
                  NSData* const data = readAvailableData(input);
                  if ([data length] == 0) {
                    LOG4CPLUS_INFO(logger, "Executable removed");
                    std::exit(EXIT_SUCCESS);
                  }
                  [input waitForDataInBackgroundAndNotify];
                  const auto* const bytes = static_cast<const char*>([data bytes]);
                  if (const std::optional<int> status = exchange->deliver({bytes, [data length]}))
                    std::exit(*status);
                }
              }];

  do {
    runLoopForOneSlice();
  } while (!idleTimer.hasExpired());

  [[NSNotificationCenter defaultCenter] removeObserver:observer];
  delete exchange;
  [input release];
  [pool drain];
  LOG4CPLUS_INFO(logger, "Executable removed");
  return EXIT_SUCCESS;
}
