#pragma once

#include <optional>
#include <string>

namespace vorn::keys {

struct TokenModule;

/** Token libraries, each behind a table of functions of ours: the page of marks says which one is in which
 * call, and a PIN goes to the card alone. */
class WatchedModules {
 public:
  /** Loads the library, and leaves in `name` under which name NSS can load it then. Nothing, or what is wrong
   * with it. */
  static std::optional<std::string> load(const TokenModule& module, std::string& name);
  /** The library that NSS knows by this name; empty when it is none of these. */
  static std::string libraryOf(const char* name);
  /** What the library has said to its start, for people; empty when it started. */
  static std::string startFault(const char* name);

  /** Hands modules this PIN, in C_Login, instead of the one that NSS has; null for none. Borrowed. */
  static void usePin(const char* pin);
};

}  // namespace vorn::keys
