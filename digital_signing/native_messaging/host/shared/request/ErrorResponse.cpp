#include "shared/request/ErrorResponse.h"

void appendError(jsonxx::Object& response, std::uint32_t code, const std::string& message) {
  response << "result"
           << "error";
  response << "error_code" << code;
  response << "error_message" << message;
}
