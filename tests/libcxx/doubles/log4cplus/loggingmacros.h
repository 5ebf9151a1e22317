#pragma once

#include <sstream>

#include "log4cplus/logger.h"

#define LOG4CPLUS_TEXT(text) text
#define LOG4CPLUS_DOUBLE(logger, level, record) \
  do {                                          \
    std::ostringstream stream;                  \
    stream << record;                           \
    (logger).log(level, stream.str());          \
  } while (false)
#define LOG4CPLUS_DEBUG(logger, record) LOG4CPLUS_DOUBLE(logger, "DEBUG", record)
#define LOG4CPLUS_INFO(logger, record) LOG4CPLUS_DOUBLE(logger, "INFO ", record)
#define LOG4CPLUS_WARN(logger, record) LOG4CPLUS_DOUBLE(logger, "WARN ", record)
#define LOG4CPLUS_ERROR(logger, record) LOG4CPLUS_DOUBLE(logger, "ERROR", record)
