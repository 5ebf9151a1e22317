#include "shared/base/Logging.h"

#include <fstream>

#include "log4cplus/logger.h"

namespace {

std::ofstream& file() {
  static std::ofstream stream;
  return stream;
}

}  // namespace

void log4cplus::Logger::removeAllAppenders() const {
  file().close();
}

void log4cplus::Logger::log(const std::string& level, const std::string& message) const {
  file() << level << " " << name_ << " - " << message << std::endl;
}

void vorn::logging::configure(const std::string& path) {
  file().open(path, std::ios::app);
}

void vorn::logging::setVerbose(const std::string&) {}
void vorn::logging::carryOn() {}
void vorn::logging::tellOfLoss() {}
