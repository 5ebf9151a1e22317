#include "vornctl/commands/SystemCommands.h"

namespace vorn::vornctl {

/** Whoever opens a .p12 file has Keychain Access import it. */
void addSystemCommands(CLI::App& /*app*/, int& /*status*/) {}

}  // namespace vorn::vornctl
