#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace vorn::vornctl {

/** What an error of the host means, for people. */
struct ErrorWords {
  std::uint32_t code;      /**< 0 for what a reason says by itself */
  std::string_view reason; /**< with any code; empty for none */
  bool concernsAll;        /**< the next document would fail alike */
  std::string_view cause;
  std::string_view remedy;
};

/** The text of an answer as people know the things on this system: the Keychain is macOS's. */
std::string wordsHere(std::string text);

/** By the reason where that says more than the code. For a code that is unknown here, words that say so. */
const ErrorWords& wordsFor(std::uint32_t code, std::string_view reason);

}  // namespace vorn::vornctl
