#include "shared/Base64.h"

#include <openssl/bio.h>
#include <openssl/evp.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>

namespace {

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

std::array<bool, 256> makeAlphabet() {
  std::array<bool, 256> member{};
  for (const char* p = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/"; *p != 0; ++p) {
    member[static_cast<unsigned char>(*p)] = true;
  }
  return member;
}

}  // namespace

void decodeBase64(const char* text, unsigned char** data, long* length) {
  const std::size_t textLength = std::strlen(text);
  const std::size_t decoded = textLength * 3 / 4;
  const std::size_t capacity = decoded - std::min(decoded, countPadding(text, textLength));

  BioChain chain = base64Over(BIO_new_mem_buf(text, static_cast<int>(textLength)));
  auto* buffer = allocate<unsigned char>(capacity + 1);
  // Never more than the buffer holds, whatever the filter makes of a text with stray padding.
  const int count = BIO_read(chain.get(), buffer, static_cast<int>(capacity));
  buffer[capacity] = 0;
  if (count >= 0) buffer[count] = 0;
  *data = buffer;
  *length = count;
}

void encodeBase64(const unsigned char* data, std::size_t length, char** text) {
  BioChain chain = base64Over(BIO_new(BIO_s_mem()));
  BIO_write(chain.get(), data, static_cast<int>(length));
  BIO_flush(chain.get());
  char* encoded = nullptr;
  const long stored = BIO_get_mem_data(chain.get(), &encoded);
  const auto count = static_cast<std::size_t>(stored > 0 ? stored : 0);

  auto* buffer = allocate<char>(count + 1);
  if (count > 0) std::memcpy(buffer, encoded, count);
  buffer[count] = 0;
  *text = buffer;
}

bool isBase64(const char* text, std::size_t length) {
  static const std::array<bool, 256> kAlphabet = makeAlphabet();
  if (length == 0 || length % 4 != 0) return false;
  const std::size_t digits = length - countPadding(text, length);
  return std::all_of(text, text + digits, [](char c) { return kAlphabet[static_cast<unsigned char>(c)]; });
}
