#pragma once

#include <cstdint>
#include <string_view>

namespace vorn::vornctl {

/** What an error code of the host means, for people. */
struct ErrorWords {
  std::uint32_t code;
  bool concernsAll; /**< the next document would fail alike */
  std::string_view cause;
  std::string_view remedy;
};

/** For a code that is unknown here, words that say so. */
const ErrorWords& wordsFor(std::uint32_t code);

}  // namespace vorn::vornctl
