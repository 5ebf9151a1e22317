#pragma once

#include <string>

/** As much of the logging library as request handling calls; the records go to the file of Logging.cpp. */
namespace log4cplus {

class Logger {
 public:
  static Logger getInstance(const std::string& name) { return Logger(name); }
  static Logger getRoot() { return Logger("root"); }
  void removeAllAppenders() const;
  void log(const std::string& level, const std::string& message) const;

 private:
  explicit Logger(std::string name) : name_(std::move(name)) {}
  std::string name_;
};

}  // namespace log4cplus
