#pragma once

#include <string>

namespace vorn {

/**
 * Gives up for good what the host has no use for, so that not even code that someone smuggles into it by a
 * document, a certificate or a library can have it. It holds for every thread, and for every program that the
 * host starts: a prompt for a PIN inherits it, and a program with the set-user-ID bit has no effect of it any
 * more.
 *
 * - No socket but those of this machine's own files (AF_UNIX, which cards and prompts need) and the kernel's
 * word of devices that come and go. The environment variable VORN_ALLOW_NETWORK, when it is "ON", leaves
 * sockets alone, for those whose token sits behind a network.
 * - No look into other processes, and none by other processes of the user into this one: no tracing, no
 * reading of memory, no core dump.
 *
 * - No calls that the kernel offers to few and has been attacked by: userfaultfd, unshare, bpf, and those for
 * its own keys.
 *
 * @return what of it does not hold, for the log; empty when all does. The process goes on either way.
 */
std::string enterSandbox();

/**
 * Gives up what only the start of the process for keys has needed: no more sockets than there are, and no
 * programs. For the process that reads documents.
 *
 * @return as above.
 */
std::string refuseToReaders();

}  // namespace vorn
