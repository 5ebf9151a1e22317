#pragma once

#include <cstddef>
#include <cstdlib>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace vorn {

/** Base64 as OpenSSL's BIO filter has it: standard alphabet, "=" padding, no line breaks.
 * Both functions hand back a buffer made with malloc, which the caller frees; both end it with a zero byte
 * that the length does not count. */

/** Decodes the zero-ended `text`. `*data` is the buffer and `*length` what the filter reports: zero or
 * negative when the text is not base64. The filter is lenient; `isBase64` is the test to make first. */
void decodeBase64(const char* text, unsigned char** data, long* length);

/** Encodes `length` bytes at `data` into the zero-ended `*text`. */
void encodeBase64(const unsigned char* data, std::size_t length, char** text);

/** Whether the text is non-empty base64: alphabet, a length in whole groups of four, padding only at the end.
 * White space behind it is read over, anywhere else it is none. */
bool isBase64(const char* text, std::size_t length);

struct FreeBuffer {
  void operator()(void* buffer) const { std::free(buffer); }
};

/** encodeBase64 into a string. */
inline std::string toBase64(std::string_view bytes) {
  char* text = nullptr;
  encodeBase64(reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size(), &text);
  const std::unique_ptr<char, FreeBuffer> owner(text);
  return text;
}

/** Decoded bytes, in the buffer that the decoder made. */
class DecodedBytes {
 public:
  DecodedBytes(unsigned char* buffer, std::size_t size) : buffer_(buffer), size_(size) {}
  std::string_view view() const { return {reinterpret_cast<const char*>(buffer_.get()), size_}; }

 private:
  std::unique_ptr<unsigned char, FreeBuffer> buffer_;
  std::size_t size_;
};

/** What decodeBase64 makes of the text; none when it is not base64. */
inline std::optional<DecodedBytes> fromBase64(const std::string& text) {
  if (!isBase64(text.data(), text.size())) return std::nullopt;
  unsigned char* buffer = nullptr;
  long length = 0;
  decodeBase64(text.c_str(), &buffer, &length);
  std::optional<DecodedBytes> bytes(std::in_place, buffer, static_cast<std::size_t>(length > 0 ? length : 0));
  return length > 0 ? std::move(bytes) : std::nullopt;
}

}  // namespace vorn
