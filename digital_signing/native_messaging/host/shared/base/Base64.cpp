#include "shared/base/Base64.h"

#include <openssl/bio.h>
#include <openssl/evp.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>

namespace vorn {
namespace {

constexpr std::size_t kGroup = 4;

struct FreeChain {
  void operator()(BIO* bio) const { BIO_free_all(bio); }
};
using BioChain = std::unique_ptr<BIO, FreeChain>;

/** The base64 filter in front of `store`, which the chain takes over. */
BioChain base64Over(BIO* store) {
  BioChain chain(store);
  BIO* filter = chain ? BIO_new(BIO_f_base64()) : nullptr;
  if (filter == nullptr) throw std::bad_alloc();
  BIO_set_flags(filter, BIO_FLAGS_BASE64_NO_NL);
  return BioChain(BIO_push(filter, chain.release()));
}

template <typename Byte>
Byte* allocate(std::size_t size) {
  auto* buffer = static_cast<Byte*>(std::malloc(size));
  if (buffer == nullptr) throw std::bad_alloc();
  return buffer;
}

std::size_t countPadding(const char* text, std::size_t length) {
  if (length < 1 || text[length - 1] != '=') return 0;
  return length >= 2 && text[length - 2] == '=' ? 2 : 1;
}

std::size_t lengthWithoutSpaceBehind(const char* text, std::size_t length) {
  constexpr std::string_view kSpace = " \t\r\n";
  while (length > 0 && kSpace.find(text[length - 1]) != std::string_view::npos) --length;
  return length;
}

/** Whether a byte is a digit of base64, without a branch: the compiler tests many bytes at a time. */
unsigned char isDigit(unsigned char c) {
  const auto within = [c](unsigned char first, unsigned char count) {
    return static_cast<unsigned char>(static_cast<unsigned char>(c - first) < count);
  };
  return within('A', 26) | within('a', 26) | within('0', 10) | static_cast<unsigned char>(c == '+') |
         static_cast<unsigned char>(c == '/');
}

/** The filter's result for what `isBase64` accepts, in half its time. */
long decodeWellFormed(const char* text, std::size_t length, unsigned char* data) {
  const std::size_t padding = countPadding(text, length);
  const std::size_t whole = length - (padding > 0 ? kGroup : 0);
  const auto* in = reinterpret_cast<const unsigned char*>(text);
  int count = EVP_DecodeBlock(data, in, static_cast<int>(whole));
  if (count >= 0 && padding > 0) {
    // The block function knows no padding: it gives three bytes of which the last ones are none.
    std::array<unsigned char, 3> last{};
    EVP_DecodeBlock(last.data(), in + whole, static_cast<int>(kGroup));
    std::copy_n(last.begin(), last.size() - padding, data + count);
    count += static_cast<int>(last.size() - padding);
  }
  return count;
}

}  // namespace

void decodeBase64(const char* text, unsigned char** data, long* length) {
  const std::size_t textLength = lengthWithoutSpaceBehind(text, std::strlen(text));
  const std::size_t decoded = textLength * 3 / 4;
  const std::size_t capacity = decoded - std::min(decoded, countPadding(text, textLength));
  auto* buffer = allocate<unsigned char>(capacity + 1);
  if (isBase64(text, textLength)) {
    *length = decodeWellFormed(text, textLength, buffer);
    buffer[capacity] = 0;
    *data = buffer;
    return;
  }

  BioChain chain = base64Over(BIO_new_mem_buf(text, static_cast<int>(textLength)));
  // Never more than the buffer holds, whatever the filter makes of a text with stray padding.
  const int count = BIO_read(chain.get(), buffer, static_cast<int>(capacity));
  buffer[capacity] = 0;
  if (count >= 0) buffer[count] = 0;
  *data = buffer;
  *length = count;
}

void encodeBase64(const unsigned char* data, std::size_t length, char** text) {
  // What the filter writes, without its many small steps through a sink that grows.
  auto* buffer = allocate<char>((length + 2) / 3 * kGroup + 1);
  EVP_EncodeBlock(reinterpret_cast<unsigned char*>(buffer), data, static_cast<int>(length));
  *text = buffer;
}

bool isBase64(const char* text, std::size_t length) {
  length = lengthWithoutSpaceBehind(text, length);
  if (length == 0 || length % kGroup != 0) return false;
  const std::size_t digits = length - countPadding(text, length);
  constexpr std::size_t kBlock = 4096;
  for (std::size_t at = 0; at < digits; at += kBlock) {
    const std::size_t end = std::min(digits, at + kBlock);
    unsigned char all = 1;
    for (std::size_t i = at; i < end; ++i) all &= isDigit(static_cast<unsigned char>(text[i]));
    if (all == 0) return false;
  }
  return true;
}

}  // namespace vorn
