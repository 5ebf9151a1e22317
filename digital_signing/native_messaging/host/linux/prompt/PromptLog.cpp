#include "linux/prompt/PromptLog.h"

namespace vorn::prompt {
namespace {

Log writeToLog = nullptr;

}  // namespace

void setLog(Log log) {
  writeToLog = log;
}

void log(Weight weight, std::string_view text) noexcept {
  try {
    if (writeToLog != nullptr) writeToLog(weight, text);
  } catch (...) {
    // A record that is lost is no reason to leave a question unasked.
  }
}

}  // namespace vorn::prompt
