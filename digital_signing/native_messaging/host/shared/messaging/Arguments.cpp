#include "shared/messaging/Arguments.h"

#include <log4cplus/logger.h>
#include <log4cplus/loggingmacros.h>

namespace vorn {
namespace {

const log4cplus::Logger logger = log4cplus::Logger::getInstance(LOG4CPLUS_TEXT("VORNSigning"));

}  // namespace

void logArguments(int count, const char* const* arguments) {
  for (int i = 1; i < count; ++i) {
    LOG4CPLUS_INFO(logger, "Argument " << i << " = " << arguments[i]);
  }
}

}  // namespace vorn
