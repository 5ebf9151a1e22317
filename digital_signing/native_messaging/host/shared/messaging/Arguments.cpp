#include "shared/messaging/Arguments.h"

#include <log4cplus/logger.h>
#include <log4cplus/loggingmacros.h>

#include "shared/base/SignatureRecord.h"

namespace vorn {
namespace {

const log4cplus::Logger logger = log4cplus::Logger::getInstance(LOG4CPLUS_TEXT("VORNSigning"));

}  // namespace

void logArguments(int count, const char* const* arguments) {
  for (int i = 1; i < count; ++i) LOG4CPLUS_INFO(logger, "Argument " << i << " = " << arguments[i]);
  signature_record::setCaller(callerOf(count, arguments));
}

std::string callerOf(int count, const char* const* arguments) {
  const std::string first = count > 1 ? arguments[1] : "";
  if (first.starts_with("chrome-extension://")) return first;
  return count > 2 ? arguments[2] : "none";
}

}  // namespace vorn
