#pragma once

#include <sys/types.h>

#include "linux/processes/CallMark.h"

/** Starting vorn-signing-keys, and ending it; and the half of it that starts the other half. */
namespace vorn::keys {

inline constexpr const char* kKeyProgramFile = "vorn-signing-keys";
/** Its option. Behind it stands of which build it has to be: a search will follow, and what it needs is
 * opened at once. */
inline constexpr const char* kServe = "--serve";

/** A running one. It dies with the thread that has started it. */
struct KeyProgram {
  pid_t id = -1;
  /** The socket over which it hands over its workers. */
  int control = -1;
  /** Of the worker at hand: where it is asked, what becomes readable when it ends, and its marks. */
  int socket = -1;
  int end = -1;
  CallMark* mark = nullptr;
};

/** A descriptor of the program's file, from which it can be started even when another release has taken the
 * file's place: of the one in `folder`, or, when that is empty, of the one that is installed beside this
 * program, or where packages have it. None when it is nowhere. */
Descriptor openKeyProgram(const char* folder = "");

/** Starts it with the environment of this process, but for what names a secret. It has no other descriptors
 * than a socket, and standard error for what modules print. `id` is negative, and errno set, when it
 * cannot be started. With a `build` it ends when it is of another, and opens what a search will need before
 * it is asked. */
KeyProgram startKeyProgram(int file, const char* build = nullptr);

/** Has it hand over a worker: the first, or another in the place of one, of which `formerStatus` becomes what
 * waitpid said. False when it has ended. */
bool nextWorker(KeyProgram& program, int& formerStatus);

/** Ends it at once. */
void endKeyProgram(KeyProgram& program);

/** In vorn-signing-keys --serve: starts a worker at once, which may open key stores at once, and another in
 * its place for each byte that comes from the control socket; hands each over there. The host refuses itself
 * to make sockets and to start programs before it reads a document, and what it started then could do no
 * more: so this process does it, which was started before. Returns in the worker, with its end of the socket;
 * never in the process that was called. */
int serveWorkers(int control, bool opensAtOnce);

}  // namespace vorn::keys
