#pragma once

#include <cstddef>

#include "shared/base/Exceptions.h"

namespace vorn {

/** In bytes of its text, after which an answer becomes an error: what a request can cost has an end. */
inline constexpr std::size_t kLongestAnswer = 67108864;

/** In the place of an answer that is longer. */
class AnswerTooLongException : public TechnicalException {
 public:
  AnswerTooLongException() : TechnicalException("Response message is too long") {}
};

}  // namespace vorn
