#pragma once

#include "shared/json/jsonxx.h"

namespace vorn {

/**
 * Appends the version of the host and of the system, the processor type and the folder of the installation.
 * Throws TechnicalException when that folder cannot be told; the members before it stay.
 */
void appendVersion(jsonxx::Object& response);

}  // namespace vorn
