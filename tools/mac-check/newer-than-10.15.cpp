// Must not compile: the C++ library of macOS has had it since 13.3.
#include <charconv>

bool isWritten(char* text, double value) {
  return std::to_chars(text, text + 30, value).ptr != text;
}
