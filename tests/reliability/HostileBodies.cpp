#include "reliability/HostileBodies.h"

namespace reliability {

std::string fill(const std::string& text, std::size_t size) {
  std::string result;
  result.reserve(size + text.size());
  while (result.size() < size) {
    result += text;
  }
  return result;
}

std::string pieces(std::size_t size, const std::function<std::string(std::size_t)>& piece) {
  std::string result;
  for (std::size_t i = 0; result.size() < size; ++i) {
    result += piece(i);
  }
  return result;
}

std::string number(std::size_t i) {
  return std::to_string(i);
}

}  // namespace reliability
