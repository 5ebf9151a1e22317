#include "e2e/Home.h"

#include <fstream>
#include <sstream>
#include <stdexcept>

#include <stdlib.h>

namespace e2e {

Home::Home(const std::string& keyStore) {
  std::string pattern = (std::filesystem::temp_directory_path() / "vorn-home-XXXXXX").string();
  if (mkdtemp(pattern.data()) == nullptr) throw std::runtime_error("no folder for a home");
  path_ = pattern;
  if (!keyStore.empty()) {
    std::filesystem::copy(preparedHomes() / keyStore / ".pki", path_ / ".pki",
                          std::filesystem::copy_options::recursive);
  }
}

Home::~Home() {
  std::error_code ignored;
  std::filesystem::remove_all(path_, ignored);
}

std::string Home::log() const {
  return readFile(logPath());
}

std::filesystem::path preparedHomes() {
  return VORN_TEST_HOMES;
}

std::string readFile(const std::filesystem::path& path) {
  std::ifstream file(path, std::ios::binary);
  std::ostringstream bytes;
  bytes << file.rdbuf();
  return bytes.str();
}

void writeFile(const std::filesystem::path& path, const std::string& bytes) {
  std::ofstream(path, std::ios::binary) << bytes;
}

std::vector<std::string> lines(const std::string& text) {
  std::vector<std::string> result;
  std::istringstream stream(text);
  for (std::string line; std::getline(stream, line);) result.push_back(line);
  return result;
}

std::string akiOf(const std::string& authority) {
  return lines(readFile(preparedHomes() / (authority + ".aki"))).at(0);
}

}  // namespace e2e
