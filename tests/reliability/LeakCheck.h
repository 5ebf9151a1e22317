#pragma once

#include "e2e/HostProcess.h"

namespace reliability {

/** For hosts that sign and then end by themselves: under the sanitizers they end with status 0 only if
 * nothing leaked. The Xalan library forgets its table of functions, some 700 bytes, when it is not shut down;
 * to tell its allocations from the host's the sanitizer has to look at whole stacks. */
inline e2e::HostOptions leakChecked(const e2e::Home& home) {
  const std::filesystem::path foreign = home.path() / "foreign-leaks";
  e2e::writeFile(foreign, "leak:libxalan-c.so\n");
  return {.environment = {"ASAN_OPTIONS=fast_unwind_on_malloc=0",
                          "LSAN_OPTIONS=print_suppressions=0:suppressions=" + foreign.string()}};
}

}  // namespace reliability
