#include "shared/request/ErrorResponse.h"

#include <cstdint>

namespace vorn {

void appendError(jsonxx::Object& response, std::uint32_t code, const std::string& message,
                 const std::string& reason) {
  response << "result"
           << "error";
  response << "error_code" << code;
  response << "error_message" << message;
  if (!reason.empty()) response << "error_reason" << reason;
}

}  // namespace vorn
