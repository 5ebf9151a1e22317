#pragma once

#include <string>

namespace vorn::vornctl {

/**
 * Something that does not work: the reason, which is not the consequence of another, and what to do about it.
 */
struct Fault {
  std::string code; /**< for programs, in small letters and hyphens; it stays when the words change */
  std::string cause;
  std::string remedy;
};

}  // namespace vorn::vornctl
