// Reader and writer of JSON: the reader reads what a plain stream reader reads, and what is written is read
// back equal.

#include <cmath>
#include <cstdint>
#include <string>
#include <string_view>

#include "fuzz/Require.h"
#include "fuzz/StreamReader.h"
#include "shared/json/jsonxx.h"

namespace {

using jsonxx::Array;
using jsonxx::Object;
using jsonxx::Value;

/** The plain reader recurses. */
constexpr std::size_t kLongestForPlainReader = 4096;

/**
 * Whether a value comes back as it was. Control characters do not: their escapes are hexadecimal where they
 * are written and decimal where they are read. A member without a name is written without one.
 */
bool returns(const Value& value);

bool returns(std::string_view text) {
  for (const char c : text) {
    const bool hasShortEscape = std::string_view("\b\f\n\r\t").find(c) != std::string_view::npos;
    if (static_cast<unsigned char>(c) < ' ' && !hasShortEscape) return false;
  }
  return true;
}

bool returns(const Object& object) {
  for (const auto& [key, value] : object.members()) {
    if (key.empty() || !returns(std::string_view(key)) || !returns(*value)) return false;
  }
  return true;
}

bool returns(const Value& value) {
  if (value.is<jsonxx::String>()) return returns(std::string_view(value.get<jsonxx::String>()));
  if (value.is<Object>()) return returns(value.get<Object>());
  if (!value.is<Array>()) return true;
  for (const auto& element : value.get<Array>().elements()) {
    if (!returns(*element)) return false;
  }
  return true;
}

bool same(const Object& a, const Object& b);

bool same(const Value& a, const Value& b) {
  if (a.is<jsonxx::Number>()) {
    if (!b.is<jsonxx::Number>()) return false;
    const jsonxx::Number x = a.get<jsonxx::Number>();
    const jsonxx::Number y = b.get<jsonxx::Number>();
    return x == y || std::fabs(x - y) <= std::fabs(x) * 1e-18L;  // 19 digits are written
  }
  if (a.is<jsonxx::String>())
    return b.is<jsonxx::String>() && a.get<jsonxx::String>() == b.get<jsonxx::String>();
  if (a.is<bool>()) return b.is<bool>() && a.get<bool>() == b.get<bool>();
  if (a.is<Object>()) return b.is<Object>() && same(a.get<Object>(), b.get<Object>());
  if (!a.is<Array>()) return b.is<jsonxx::Null>();
  if (!b.is<Array>() || a.get<Array>().size() != b.get<Array>().size()) return false;
  for (std::size_t i = 0; i < a.get<Array>().size(); ++i) {
    if (!same(*a.get<Array>().elements()[i], *b.get<Array>().elements()[i])) return false;
  }
  return true;
}

bool same(const Object& a, const Object& b) {
  if (a.members().size() != b.members().size()) return false;
  for (auto x = a.members().begin(), y = b.members().begin(); x != a.members().end(); ++x, ++y) {
    if (x->first != y->first || !same(*x->second, *y->second)) return false;
  }
  return true;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  Object object;
  const bool complete = object.parse(text);
  const std::string written = object.json();
  if (size <= kLongestForPlainReader) {
    const StreamReading plain = readFromStream(text);
    require(plain.complete == complete && plain.json == written, "both readers read the same");
  }
  if (size > kLongestForPlainReader || !returns(object)) return 0;

  Object again;
  require(again.parse(written), "what is written can be read");
  require(same(object, again), "what is written is read back equal");
  require(again.json() == written, "what is read back is written the same");
  const Object copy(again);
  require(same(copy, again), "a copy is equal");
  return 0;
}
