#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "shared/json/jsonxx.h"

namespace vorn {

/** The answer that is longer than its caller takes at once. It is kept as the text that would have been sent,
 * and handed out in pieces, each within an answer of its own, until a request of another kind comes. */
class AnswerParts {
 public:
  /** In bytes: the least that a caller may take. */
  static constexpr std::size_t kLeastLimit = 4096;

  /** What to send in place of the answer `text`, which is valid UTF-8 and not longer than kLongestAnswer, to
   * a caller that takes frames of `limit` bytes, not less than kLeastLimit: the text itself where its frame
   * is no longer; otherwise the text is kept, with the "result" that it has, and the first part comes back.
   * Throws InvalidArgumentException when `text` is itself a part, which is not cut again. */
  std::string fit(std::string text, std::size_t limit, const std::string& result);

  /** Appends "part", "parts", "text" and "result". Throws InvalidArgumentException when there is no part
   * `number`. */
  void appendPart(jsonxx::Number number, jsonxx::Object& response) const;

  /** Forgets what is kept, and gives its memory back. */
  void drop();

 private:
  void cut(std::size_t room);

  std::string text_;
  std::string result_;
  std::vector<std::size_t> ends_;  // of each piece in the text
};

}  // namespace vorn
