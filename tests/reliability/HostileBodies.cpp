#include "reliability/HostileBodies.h"

namespace reliability {

std::string fill(const std::string& text, std::size_t size) {
  std::string result;
  result.reserve(size + text.size());
  while (result.size() < size) result += text;
  return result;
}

std::string pieces(std::size_t size, const Piece& piece) {
  std::string result;
  for (std::size_t i = 0; result.size() < size; ++i) result += piece(i);
  return result;
}

std::string number(std::size_t i) {
  return std::to_string(i);
}

Hostile between(const char* name, const std::string& before, const std::string& text,
                const std::string& after) {
  return {name, [=](std::size_t size) { return before + fill(text, size) + after; }};
}

Hostile numbered(const char* name, const std::string& before, const Piece& piece, const std::string& after) {
  return {name, [=](std::size_t size) { return before + pieces(size, piece) + after; }};
}

}  // namespace reliability
