#pragma once

#include <sys/types.h>

#include <chrono>
#include <optional>
#include <string>

#include "linux/frameworks/Security/TokenModules.h"

namespace vorn::frameworks {

/**
 * Loads a PKCS #11 library in a process of its own and has it list its slots and describe its tokens: what
 * hangs or crashes there does so at the cost of that process, which lives no longer than this object.
 */
class ModuleProbe {
 public:
  explicit ModuleProbe(const TokenModule& module);
  ~ModuleProbe();
  ModuleProbe(const ModuleProbe&) = delete;
  ModuleProbe& operator=(const ModuleProbe&) = delete;

  /** Waits for the end of the probe until then at most; none when the library is well, else what is wrong
   * with it. */
  std::optional<std::string> fault(std::chrono::steady_clock::time_point deadline);

 private:
  pid_t child_ = -1;
  /** Where the other process says what is wrong, and what becomes readable when it ends. */
  int report_ = -1;
  int end_ = -1;
};

}  // namespace vorn::frameworks
