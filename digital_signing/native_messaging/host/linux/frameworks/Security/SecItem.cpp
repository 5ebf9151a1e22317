#include "Security/SecItem.h"

#include <limits>

#include "linux/frameworks/Security/KeyStore.h"
#include "linux/frameworks/Security/KeyStoreLock.h"
#include "linux/frameworks/Security/SecObjects.h"

namespace vorn::frameworks {
namespace {

struct Query {
  bool mustSign = false;
  /** None when certificates of any name are wanted. */
  std::optional<std::string> commonName;
  std::size_t limit = 1;
};

bool isTrue(CFTypeRef value) {
  return value == kCFBooleanTrue;
}

/** False for a limit that is none. */
bool readLimit(CFTypeRef value, std::size_t& limit) {
  if (value == nullptr) {
    return true;
  }
  if (CFEqual(value, kSecMatchLimitAll) != 0) {
    limit = std::numeric_limits<std::size_t>::max();
    return true;
  }
  const auto* number = objectCast<Number>(value);
  std::int64_t count = 0;
  if (number == nullptr || CFNumberGetValue(asRef<CFNumberRef>(number), kCFNumberSInt64Type, &count) == 0 ||
      count <= 0) {
    return false;
  }
  limit = static_cast<std::size_t>(count);
  return true;
}

/** None for a query that cannot be answered. */
std::optional<Query> readQuery(CFDictionaryRef dictionary) {
  const auto valueOf = [&](CFStringRef key) { return CFDictionaryGetValue(dictionary, key); };
  Query query;
  const CFTypeRef itemClass = valueOf(kSecClass);
  if (itemClass == nullptr || CFEqual(itemClass, kSecClassIdentity) == 0 ||
      !readLimit(valueOf(kSecMatchLimit), query.limit)) {
    return std::nullopt;
  }
  query.mustSign = isTrue(valueOf(kSecAttrCanSign));
  if (const CFTypeRef name = valueOf(kSecMatchSubjectWholeString)) {
    const auto* string = objectCast<String>(name);
    if (string == nullptr) {
      return std::nullopt;
    }
    query.commonName = utf8Of(asRef<CFStringRef>(string));
  }
  return query;
}

struct Candidate {
  TokenCertificate stored;
  Owned<Certificate> certificate;
};

/** Texts are compared as they are: letter case, accents and their composition count, and an empty text is no
 * name. */
bool matchesName(const Query& query, const Certificate& certificate) {
  return !query.commonName ||
         (!query.commonName->empty() && x509::commonName(certificate.fields()) == query.commonName);
}

std::vector<Candidate> findCertificates(const Query& query) {
  std::vector<Candidate> candidates;
  for (TokenCertificate& stored : listCertificates()) {
    auto certificate = Certificate::make(stored.der);
    if (certificate && matchesName(query, *certificate)) {
      candidates.push_back({std::move(stored), std::move(certificate)});
    }
  }
  return candidates;
}

/** Key by key, and for each key certificate by certificate; nothing is sorted and no duplicate left out. */
std::vector<Owned<>> findIdentities(const Query& query) {
  std::vector<Owned<>> identities;
  const std::vector<Candidate> candidates = findCertificates(query);
  if (candidates.empty()) {
    return identities;
  }
  for (const auto& key : listPrivateKeys()) {
    if (query.mustSign && !key->canSign()) {
      continue;
    }
    for (const Candidate& candidate : candidates) {
      if (identities.size() < query.limit &&
          key->belongsTo(candidate.stored, candidate.certificate->fields().publicKey)) {
        candidate.certificate->retain();
        identities.emplace_back(
            new Identity(Owned<Certificate>(candidate.certificate.get()), Owned<Key>(new PrivateKey(key))));
      }
    }
  }
  return identities;
}

OSStatus copyMatching(CFDictionaryRef dictionary, CFTypeRef* result) {
  const auto query = readQuery(dictionary);
  if (!query) {
    return errSecParam;
  }
  if (const OSStatus status = openKeyStore(); status != errSecSuccess) {
    return status;
  }
  if (!waitForKeyStore()) {
    return errSecNotAvailable;
  }
  std::vector<Owned<>> identities = findIdentities(*query);
  if (identities.empty()) {
    return errSecItemNotFound;
  }
  *result = query->limit == 1 ? handOver<CFTypeRef>(std::move(identities.front()))
                              : handOver<CFTypeRef>(makeArray(identities));
  return errSecSuccess;
}

}  // namespace
}  // namespace vorn::frameworks

using namespace vorn::frameworks;

OSStatus SecItemCopyMatching(CFDictionaryRef query, CFTypeRef* result) {
  if (objectCast<Dictionary>(query) == nullptr || result == nullptr) {
    return errSecParam;
  }
  *result = nullptr;
  try {
    return copyMatching(query, result);
  } catch (const std::bad_alloc&) {
    return errSecAllocate;
  } catch (...) {
    return errSecInternalComponent;
  }
}
