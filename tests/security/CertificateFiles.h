#pragma once

#include <cstdint>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "linux/frameworks/Security/SecObjects.h"
#include "mac/app/CFRef.h"

using vorn::CFRef;

namespace security_test {

/** A file that make-certificates left. */
inline std::vector<std::uint8_t> readFile(const std::string& name) {
  std::ifstream file(VORN_TEST_FILES "/certificates/" + name, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

inline CFRef<SecCertificateRef> certificateOf(std::vector<std::uint8_t> der) {
  using vorn::frameworks::Certificate;
  return CFRef<SecCertificateRef>::adopt(
      vorn::frameworks::handOver<SecCertificateRef>(Certificate::make(std::move(der))));
}

}  // namespace security_test
