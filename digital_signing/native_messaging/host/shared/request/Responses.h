#pragma once

#include <cstdint>
#include <string>

#include "shared/json/jsonxx.h"

namespace vorn {

/**
 * Appends "result": "error", "error_code" and "error_message" to an answer, and "error_reason" unless the
 * reason is empty; what it holds already stays.
 */
void appendError(jsonxx::Object& response, std::uint32_t code, const std::string& message,
                 const std::string& reason);

/**
 * Appends the version of the host and of the system, the processor type and the folder of the installation.
 * Throws TechnicalException when that folder cannot be told; the members before it stay.
 */
void appendVersion(jsonxx::Object& response);

}  // namespace vorn
