#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace vorn::vornctl {

/** Words for people about an error code of the host. */
struct ErrorWords {
  std::uint32_t code;
  bool concernsAll; /**< the next document would fail alike */
  std::string_view cause;
  std::string_view remedy;
};

/** The text of an answer as people know the things on this system: the Keychain is macOS's. */
std::string wordsHere(std::string text);

/** An unknown code gets words that say so. */
const ErrorWords& wordsFor(std::uint32_t code);

}  // namespace vorn::vornctl
