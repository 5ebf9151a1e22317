#include "vornctl/commands/Commands.h"

namespace vorn::vornctl {

/** Whoever opens a .p12 file has Keychain Access import it. */
std::vector<Command> systemCommands() {
  return {};
}

}  // namespace vorn::vornctl
