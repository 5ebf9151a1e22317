#include "e2e/Home.h"

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
    // A token's library that the system has registered has ways of its own, with little memory for instance.
    const std::filesystem::path tokens = path_ / ".config/pkcs11";
    std::filesystem::create_directories(tokens);
    writeFile(tokens / "pkcs11.conf", "user-config: only\n");
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

std::string akiOf(const std::string& authority) {
  return lines(readFile(preparedHomes() / (authority + ".aki"))).at(0);
}

}  // namespace e2e
