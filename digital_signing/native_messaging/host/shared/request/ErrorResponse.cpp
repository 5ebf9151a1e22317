#include "shared/request/ErrorResponse.h"

#include <cstdint>

namespace vorn {

void appendError(jsonxx::Object& response, std::uint32_t code, const std::string& message) {
  response << "result"
           << "error";
  response << "error_code" << code;
  response << "error_message" << message;
}

}  // namespace vorn
