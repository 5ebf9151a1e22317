#pragma once

#include <string>

#include "Security/SecBase.h"

namespace vorn::frameworks {

/** Keeps the text for SecCopyErrorMessageString; returns the status. */
OSStatus failWith(OSStatus status, std::string text);

}  // namespace vorn::frameworks
