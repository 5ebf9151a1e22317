#pragma once

#include <sys/types.h>

#include "linux/processes/CallMark.h"

/** Starting vorn-signing-keys, and ending it. */
namespace vorn::keys {

inline constexpr const char* kKeyProgramFile = "vorn-signing-keys";

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

/**
 * A descriptor of the program's file, from which it can be started even when another release has taken the
 * file's place: of the one in `folder`, or, when that is empty, of the one that is installed beside this
 * program, or where packages have it. Negative when there is none.
 */
int openKeyProgram(const char* folder = "");

/**
 * Starts it with the environment of this process, but for what names a secret. It has no other descriptors
 * than a socket, and standard error for what modules print. `id` is negative, and errno set, when it
 * cannot be started. With a `build` it ends when it is of another, and opens what a search will need before
 * it is asked.
 */
KeyProgram startKeyProgram(int file, const char* build = nullptr);

/** Has it hand over a worker: the first, or another in the place of one, of which `formerStatus` becomes what
 * waitpid said. False when it has ended. */
bool nextWorker(KeyProgram& program, int& formerStatus);

/** Ends it at once. */
void endKeyProgram(KeyProgram& program);

}  // namespace vorn::keys
