#pragma once

#include <string_view>
#include <vector>

#include "linux/frameworks/Security/Der.h"

/** What stands inside an RSA signature: the DigestInfo of PKCS#1. */
namespace vorn::frameworks {

struct DigestAlgorithm {
  /** A digest type of SecDigestTransform.h, and its length in bits. */
  std::string_view type;
  std::int64_t bits;
  /** NSS's tag of it. */
  int nssTag;
  der::Bytes oid;
};

/** The algorithm of a type and a length, 0 being the type's longest; null when there is none. */
const DigestAlgorithm* findDigestAlgorithm(std::string_view type, std::int64_t bits);

std::vector<std::uint8_t> digestOf(const DigestAlgorithm& algorithm, der::Bytes text);

/** The DER of DigestInfo around a digest, whose length is not checked. */
std::vector<std::uint8_t> digestInfo(const DigestAlgorithm& algorithm, der::Bytes digest);

}  // namespace vorn::frameworks
