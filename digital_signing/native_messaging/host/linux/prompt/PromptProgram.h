#pragma once

#include <string>

namespace vorn::prompt {

/** The program that asks for PINs, or why there is none. */
struct PromptProgram {
  /** Absolute; empty when nobody can be asked. */
  std::string path;
  /** For people: what is missing, and what to do. */
  std::string fault;
};

/**
 * What VORN_PINENTRY names, a path or a program in PATH. Without it the desktop's own pinentry, by the names
 * that Debian has for it: one with a window where there is a display, else one for the terminal that GPG_TTY
 * names.
 */
PromptProgram findPromptProgram();

/** A variable of the environment; empty when it is not set. */
std::string environment(const char* name);

}  // namespace vorn::prompt
