#include "linux/frameworks/Security/SignatureInput.h"

#include <pk11pub.h>

#include <new>

namespace vorn::frameworks {
namespace {

constexpr std::uint8_t kSha1[] = {0x2b, 0x0e, 0x03, 0x02, 0x1a};
constexpr std::uint8_t kSha224[] = {0x60, 0x86, 0x48, 0x01, 0x65, 0x03, 0x04, 0x02, 0x04};
constexpr std::uint8_t kSha256[] = {0x60, 0x86, 0x48, 0x01, 0x65, 0x03, 0x04, 0x02, 0x01};
constexpr std::uint8_t kSha384[] = {0x60, 0x86, 0x48, 0x01, 0x65, 0x03, 0x04, 0x02, 0x02};
constexpr std::uint8_t kSha512[] = {0x60, 0x86, 0x48, 0x01, 0x65, 0x03, 0x04, 0x02, 0x03};

constexpr std::string_view kSha1Family = "SHA1 Digest";
constexpr std::string_view kSha2Family = "SHA2 Digest Family";

/** The longest of a family comes first: a length of 0 takes the first of the type. */
const DigestAlgorithm kAlgorithms[] = {
    {kSha1Family, 160, SEC_OID_SHA1, kSha1},     {kSha2Family, 512, SEC_OID_SHA512, kSha512},
    {kSha2Family, 384, SEC_OID_SHA384, kSha384}, {kSha2Family, 256, SEC_OID_SHA256, kSha256},
    {kSha2Family, 224, SEC_OID_SHA224, kSha224},
};

void append(std::vector<std::uint8_t>& encoded, std::uint8_t tag, der::Bytes content) {
  encoded.push_back(tag);
  if (content.size() < 0x80) {
    encoded.push_back(static_cast<std::uint8_t>(content.size()));
  } else {
    std::size_t octets = 1;
    while (octets < sizeof(std::size_t) && content.size() >> (8 * octets) != 0) {
      ++octets;
    }
    encoded.push_back(static_cast<std::uint8_t>(0x80 | octets));
    for (std::size_t index = octets; index-- > 0;) {
      encoded.push_back(static_cast<std::uint8_t>(content.size() >> (8 * index)));
    }
  }
  encoded.insert(encoded.end(), content.begin(), content.end());
}

}  // namespace

const DigestAlgorithm* findDigestAlgorithm(std::string_view type, std::int64_t bits) {
  for (const DigestAlgorithm& algorithm : kAlgorithms) {
    if (algorithm.type == type && (bits == 0 || algorithm.bits == bits)) {
      return &algorithm;
    }
  }
  return nullptr;
}

std::vector<std::uint8_t> digestOf(const DigestAlgorithm& algorithm, der::Bytes text) {
  std::vector<std::uint8_t> digest(static_cast<std::size_t>(algorithm.bits / 8));
  if (PK11_HashBuf(static_cast<SECOidTag>(algorithm.nssTag), digest.data(), text.data(),
                   static_cast<PRInt32>(text.size())) != SECSuccess) {
    throw std::bad_alloc();
  }
  return digest;
}

std::vector<std::uint8_t> digestInfo(const DigestAlgorithm& algorithm, der::Bytes digest) {
  std::vector<std::uint8_t> identifier;
  append(identifier, der::kObjectIdentifier, algorithm.oid);
  append(identifier, der::kNull, {});
  std::vector<std::uint8_t> content;
  append(content, der::kSequence, identifier);
  append(content, der::kOctetString, digest);
  std::vector<std::uint8_t> info;
  append(info, der::kSequence, content);
  return info;
}

}  // namespace vorn::frameworks
