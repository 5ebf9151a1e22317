#include "linux/processes/KeyChannel.h"

#include <sys/socket.h>

#include <array>
#include <charconv>
#include <cstdint>
#include <cstring>

#include "shared/base/Descriptor.h"

namespace vorn::keys {
namespace {

/** The longest frame: more than all the certificates that anybody has. */
constexpr std::uint32_t kLongest = 64U << 20;

template <typename T>
const T* find(const jsonxx::Object& message, std::string_view key) {
  return message.has<T>(key) ? &message.get<T>(key) : nullptr;
}

}  // namespace

bool KeyChannel::send(const jsonxx::Object& message) const {
  const std::string text = message.json();
  const auto length = static_cast<std::uint32_t>(text.size());
  std::string frame(sizeof length, '\0');
  std::memcpy(frame.data(), &length, sizeof length);
  frame += text;
  for (std::string_view rest = frame; !rest.empty();) {
    const ssize_t count = ::send(socket_, rest.data(), rest.size(), MSG_NOSIGNAL);
    if (count < 0 && errno != EINTR) return false;
    rest.remove_prefix(count < 0 ? 0 : static_cast<std::size_t>(count));
  }
  return true;
}

bool KeyChannel::receive() {
  std::array<char, 1 << 16> bytes;
  const ssize_t count = readSome(socket_, bytes.data(), bytes.size());
  if (count <= 0) return false;
  buffer_.append(bytes.data(), static_cast<std::size_t>(count));
  std::uint32_t length = 0;
  if (buffer_.size() >= sizeof length) std::memcpy(&length, buffer_.data(), sizeof length);
  return length <= kLongest;
}

std::optional<jsonxx::Object> KeyChannel::next() {
  std::uint32_t length = 0;
  if (buffer_.size() < sizeof length) return std::nullopt;
  std::memcpy(&length, buffer_.data(), sizeof length);
  if (buffer_.size() - sizeof length < length) return std::nullopt;
  jsonxx::Object message;
  if (!message.parse(std::string_view(buffer_).substr(sizeof length, length))) message.reset();
  buffer_.erase(0, sizeof length + length);
  return message;
}

std::string toHex(const std::vector<std::uint8_t>& bytes) {
  constexpr char kDigits[] = "0123456789abcdef";
  std::string digits;
  digits.reserve(2 * bytes.size());
  for (const std::uint8_t byte : bytes) {
    digits += kDigits[byte >> 4];
    digits += kDigits[byte & 0xF];
  }
  return digits;
}

std::vector<std::uint8_t> fromHex(std::string_view digits) {
  std::vector<std::uint8_t> bytes(digits.size() / 2);
  for (std::size_t i = 0; i < bytes.size(); ++i)
    if (std::from_chars(&digits[2 * i], &digits[2 * i] + 2, bytes[i], 16).ptr != &digits[2 * i] + 2)
      return {};
  return bytes;
}

std::string textIn(const jsonxx::Object& message, std::string_view key) {
  const auto* const text = find<jsonxx::String>(message, key);
  return text != nullptr ? *text : "";
}

long numberIn(const jsonxx::Object& message, std::string_view key) {
  constexpr jsonxx::Number kMost = 1L << 40;
  const auto* const number = find<jsonxx::Number>(message, key);
  return number != nullptr && *number >= -kMost && *number <= kMost ? static_cast<long>(*number) : 0;
}

bool flagIn(const jsonxx::Object& message, std::string_view key) {
  const auto* const flag = find<jsonxx::Boolean>(message, key);
  return flag != nullptr && *flag;
}

std::vector<const jsonxx::Object*> objectsIn(const jsonxx::Object& message, std::string_view key) {
  std::vector<const jsonxx::Object*> objects;
  if (const auto* const array = find<jsonxx::Array>(message, key))
    for (const auto& element : array->elements())
      if (element->is<jsonxx::Object>()) objects.push_back(&element->get<jsonxx::Object>());
  return objects;
}

}  // namespace vorn::keys
