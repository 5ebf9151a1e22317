#pragma once

#include <string>

#include "shared/json/jsonxx.h"

namespace vorn {

/** Turns the text of one request into one answer. Made for each message and dropped after it. */
class RequestHandler {
 public:
  explicit RequestHandler(std::string message);

  /**
   * The answer, in which every failure of the host stands as "error_code" and "error_message".
   * Throws InvalidArgumentException alone: such a request is answered by the caller, and ends the process.
   */
  jsonxx::Object handleRequest();

 private:
  void parse();
  void applySettings();
  void dispatch();
  void handleVersionRequest();
  void handleSignRequest();

  std::string message_;
  jsonxx::Object request_;
  jsonxx::Object response_;
};

}  // namespace vorn
