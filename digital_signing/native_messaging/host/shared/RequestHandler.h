#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

#include "shared/json/jsonxx.h"
#include "shared/request/AnswerParts.h"

namespace vorn {

/** Appends "result": "error", "error_code" and "error_message" to an answer, and "error_reason" unless the
 * reason is empty; what it holds already stays. */
void appendError(jsonxx::Object& response, std::uint32_t code, const std::string& message,
                 const std::string& reason);

/** Turns the text of one request into one answer. Made for each message and dropped after it. */
class RequestHandler {
 public:
  /** `parts` is what an earlier answer may have left to be fetched; without it there is nothing. */
  explicit RequestHandler(std::string message, AnswerParts* parts = nullptr);

  /** The answer, in which every failure of the host stands as "error_code" and "error_message".
   * Throws InvalidArgumentException: such a request is answered by the caller, and ends the process. And
   * RequesterGoneException: there is nobody to answer. */
  jsonxx::Object handleRequest();

  /** How many bytes the caller takes at once, once the request is handled; nothing when it did not say. */
  std::optional<std::size_t> largestAnswer() const { return largestAnswer_; }

  /** Whether the caller wants to have a failure's reason, as far as the request has been read. */
  bool wantsReasons() const { return wantsReasons_; }

 private:
  void parse();
  void applySettings();
  void dispatch();
  void handlePartRequest();
  void handleVersionRequest();
  void handleSignRequest();

  std::string message_;
  std::string type_; /**< in lower case */
  AnswerParts* parts_;
  std::optional<std::size_t> largestAnswer_;
  bool wantsReasons_ = false;
  jsonxx::Object request_;
  jsonxx::Object response_;
};

}  // namespace vorn
