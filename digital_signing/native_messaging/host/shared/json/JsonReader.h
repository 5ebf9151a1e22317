#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "shared/json/jsonxx.h"

namespace jsonxx {

/** The permissive reader: line comments, apostrophes, empty slots, trailing commas. One pass over the text,
 * which has to outlive the reader; containers that are still open are kept on a list, so that no nesting
 * exhausts the stack. */
class JsonReader {
 public:
  explicit JsonReader(std::string_view text) : at_(text.data()), end_(text.data() + text.size()) {}

  /** Reads one object into `result`. Returns false when the text is malformed; `result` then has the members
   * whose values were complete before the fault. */
  bool readObject(Object& result);

 private:
  /** How the value that is being read stands. */
  enum class Step { ReadItem, Succeeded, Failed };

  Step readItem();
  Step readValue(Value& value);
  Step openArray(Value& value);
  Step openObject(Value& value);
  Step finishItem(bool succeeded);
  Step closeContainer(Value& container);

  bool readString(String& text);
  void readEscape(String& text, char delimiter);
  void readByteEscape(String& text);

  bool match(std::string_view pattern);
  bool skipComment();
  void skipWhitespace();
  bool nextIs(char c) const { return at_ != end_ && *at_ == c; }

  const char* at_;
  const char* end_;
  /** The values being read: each is, once complete, an item of the one before it. */
  std::vector<std::unique_ptr<Value>> open_;
  /** The key of the member being read, for each open object but one that waits for its next key. */
  std::vector<String> keys_;
};

/** Reads from `begin` what an input stream of the classic locale would extract as a `long double`, whatever
 * locale the process or its libraries set. Returns where the extraction
 * stopped, or null when it failed; an overflow fails, leading whitespace is not skipped. */
const char* readNumber(const char* begin, const char* end, long double& number);

}  // namespace jsonxx
