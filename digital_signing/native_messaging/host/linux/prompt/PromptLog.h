#pragma once

#include <string_view>

namespace vorn::prompt {

enum class Weight { kInfo, kWarning };

/** Whoever keeps a log gives the function that writes to it; without one nothing is told. */
using Log = void (*)(Weight weight, std::string_view text);
void setLog(Log log);

/** Nothing secret, and nothing of the question, is ever given to it. */
void log(Weight weight, std::string_view text) noexcept;

}  // namespace vorn::prompt
