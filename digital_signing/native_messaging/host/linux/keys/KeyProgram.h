#pragma once

#include <sys/types.h>

#include "linux/keys/CallMark.h"

/** Starting vorn-signing-keys, and ending it. */
namespace vorn::keys {

inline constexpr const char* kKeyProgramFile = "vorn-signing-keys";

/** A running one. It dies with the thread that has started it. */
struct KeyProgram {
  pid_t id = -1;
  int socket = -1;
  /** Becomes readable when it ends; -1 on kernels that have no such descriptors. */
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
 * than the socket, and standard error for what modules print. `id` is negative, and errno set, when it
 * cannot be started.
 */
KeyProgram startKeyProgram(int file);

/** Ends it at once, and gives what waitpid says of it. */
int endKeyProgram(KeyProgram& program);

}  // namespace vorn::keys
