#pragma once

/** With what macOS has had since 10.15, and the C library of this machine has for its own extensions alone.
 */
#include_next <spawn.h>

extern "C" int posix_spawn_file_actions_addchdir_np(posix_spawn_file_actions_t* actions, const char* folder);
