#include "shared/request/AnswerParts.h"

#include <cstdint>
#include <utility>

#include "shared/base/Exceptions.h"
#include "shared/json/JsonWriter.h"
#include "shared/text/Utf8.h"

namespace vorn {
namespace {

constexpr std::size_t kPrefix = sizeof(std::uint32_t);

void appendMembers(jsonxx::Object& response, std::size_t part, std::size_t parts, std::string piece,
                   const std::string& result) {
  response << "part" << part;
  response << "parts" << parts;
  response << "text" << std::move(piece);
  response << "result" << result;
}

/** Bytes of a part's whole frame around its piece, all members taken at their longest. */
std::size_t bytesAroundPiece() {
  jsonxx::Object response;
  appendMembers(response, kLongestAnswer, kLongestAnswer, "", "error");
  return kPrefix + response.json().size();
}

}  // namespace

std::string AnswerParts::fit(std::string text, std::size_t limit, const std::string& result) {
  if (kPrefix + text.size() <= limit) return text;
  if (!ends_.empty()) throw InvalidArgumentException("Part is longer than max_answer");
  text_ = std::move(text);
  result_ = result;
  cut(limit - bytesAroundPiece());
  jsonxx::Object response;
  appendPart(1, response);
  return response.json();
}

/** Fills each piece as far as whole characters and the escapes that they are written with allow. */
void AnswerParts::cut(std::size_t room) {
  std::size_t used = 0;
  std::size_t character = 0;  // where the one at hand begins, and what was used before it
  std::size_t usedBefore = 0;
  for (std::size_t at = 0; at < text_.size(); ++at) {
    if (!continuesCharacter(text_[at])) {
      character = at;
      usedBefore = used;
    }
    used += jsonxx::JsonWriter::escapedSize(text_[at]);
    if (used > room) {
      ends_.push_back(character);
      used -= usedBefore;
      usedBefore = 0;
    }
  }
  ends_.push_back(text_.size());
}

void AnswerParts::appendPart(jsonxx::Number number, jsonxx::Object& response) const {
  // Written so that what is not a number at all is refused too.
  if (!(number >= 1 && number <= static_cast<jsonxx::Number>(ends_.size())))
    throw InvalidArgumentException("Unknown part");
  const auto part = static_cast<std::size_t>(number);
  if (static_cast<jsonxx::Number>(part) != number) throw InvalidArgumentException("Unknown part");
  const std::size_t begin = part == 1 ? 0 : ends_[part - 2];
  appendMembers(response, part, ends_.size(), text_.substr(begin, ends_[part - 1] - begin), result_);
}

void AnswerParts::drop() {
  std::string().swap(text_);
  std::vector<std::size_t>().swap(ends_);
}

}  // namespace vorn
