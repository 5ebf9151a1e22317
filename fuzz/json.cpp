// Reader and writer of JSON: what is read is written, and what is written is read back equal.

#include <cstdint>
#include <string>
#include <string_view>

#include "fuzz/Require.h"
#include "shared/json/jsonxx.h"

namespace {

using jsonxx::Array;
using jsonxx::Object;
using jsonxx::Value;

/** Whether a value comes back as it was. Control characters do not: their escapes are hexadecimal where they
 * are written and decimal where they are read. A member without a name is written without one. */
bool returns(const Value& value);

bool returns(std::string_view text) {
  for (const char c : text) {
    const bool hasShortEscape = std::string_view("\b\f\n\r\t").find(c) != std::string_view::npos;
    if (static_cast<unsigned char>(c) < ' ' && !hasShortEscape) return false;
  }
  return true;
}

bool returns(const Object& object) {
  for (const auto& [key, value] : object.members())
    if (key.empty() || !returns(std::string_view(key)) || !returns(*value)) return false;
  return true;
}

bool returns(const Value& value) {
  if (value.is<jsonxx::String>()) return returns(std::string_view(value.get<jsonxx::String>()));
  if (value.is<Object>()) return returns(value.get<Object>());
  if (!value.is<Array>()) return true;
  for (const auto& element : value.get<Array>().elements())
    if (!returns(*element)) return false;
  return true;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  Object object;
  object.parse(text);  // what was complete of it is kept
  const std::string written = object.json();
  if (!returns(object)) return 0;

  Object again;
  require(again.parse(written), "what is written can be read");
  require(again.json() == written, "what is written is read back equal");
  require(Object(again).json() == written, "a copy is equal");
  return 0;
}
