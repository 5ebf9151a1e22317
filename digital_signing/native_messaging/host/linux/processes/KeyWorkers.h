#pragma once

#include "linux/processes/KeyProgram.h"

/**
 * The half of vorn-signing-keys that starts the other half, as often as that is wanted. The host refuses
 * itself to make sockets and to start programs before it reads a document, and what it started then could do
 * no more: so this one, which was started before, does it.
 */
namespace vorn::keys {

/** Behind it stands of which build it has to be: a search will follow, and what it needs is opened at once.
 */
inline constexpr const char* kServe = "--serve";

/**
 * Starts a worker at once, which may open key stores at once, and another in its place for each byte that
 * comes from the control socket; hands each over there. Returns in the worker, with its end of the socket;
 * never in the process that was called.
 */
int serveWorkers(int control, bool opensAtOnce);

/**
 * Takes what was handed over into `program`, whose former worker has ended then. Waits for it.
 *
 * @return what waitpid said of the former one; nothing when there is nobody to hand anything over.
 */
bool takeWorker(KeyProgram& program, int& formerStatus);

}  // namespace vorn::keys
