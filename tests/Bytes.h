#pragma once

#include <openssl/evp.h>

#include <cstdint>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

/** Files, base64 and frames for tests, independent of the host's own code. */
namespace tests {

inline std::string readFile(const std::filesystem::path& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

inline void writeFile(const std::filesystem::path& path, const std::string& bytes) {
  std::ofstream(path, std::ios::binary) << bytes;
}

inline std::vector<std::string> lines(const std::string& text) {
  std::vector<std::string> result;
  std::istringstream stream(text);
  for (std::string line; std::getline(stream, line);) result.push_back(line);
  return result;
}

inline std::string toBase64(const std::string& bytes) {
  std::string result((bytes.size() + 2) / 3 * 4 + 1, '\0');
  EVP_EncodeBlock(reinterpret_cast<unsigned char*>(result.data()),
                  reinterpret_cast<const unsigned char*>(bytes.data()), static_cast<int>(bytes.size()));
  result.pop_back();
  return result;
}

inline std::string fromBase64(const std::string& text) {
  std::string result(text.size() / 4 * 3 + 1, '\0');
  const int length =
      EVP_DecodeBlock(reinterpret_cast<unsigned char*>(result.data()),
                      reinterpret_cast<const unsigned char*>(text.data()), static_cast<int>(text.size()));
  if (length < 0) throw std::runtime_error("not base64: " + text);
  const std::size_t padding = text.ends_with("==") ? 2 : text.ends_with("=") ? 1 : 0;
  result.resize(static_cast<std::size_t>(length) - padding);
  return result;
}

/** A request with its length in front. */
inline std::string frame(std::string_view request) {
  const auto length = static_cast<std::uint32_t>(request.size());
  std::string result(sizeof length, '\0');
  std::memcpy(result.data(), &length, sizeof length);
  return result.append(request);
}

}  // namespace tests
