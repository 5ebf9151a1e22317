#include "Security/SecItem.h"

#include <cstdint>
#include <set>

#include "linux/frameworks/Security/KeyStore.h"
#include "linux/frameworks/Security/SecObjects.h"

namespace vorn::frameworks {
namespace {

struct Query {
  bool mustSign = false;
  /** None when certificates of any name are wanted. */
  std::optional<std::string> commonName;
};

/** None for a query that cannot be answered. */
std::optional<Query> readQuery(CFDictionaryRef dictionary) {
  const auto valueOf = [&](CFStringRef key) { return CFDictionaryGetValue(dictionary, key); };
  if (!CFEqual(valueOf(kSecClass), kSecClassIdentity) || !CFEqual(valueOf(kSecMatchLimit), kSecMatchLimitAll))
    return std::nullopt;
  Query query{valueOf(kSecAttrCanSign) == kCFBooleanTrue, std::nullopt};
  if (const CFTypeRef name = valueOf(kSecMatchSubjectWholeString)) query.commonName = utf8Of(name);
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
    if (certificate && matchesName(query, *certificate))
      candidates.push_back({std::move(stored), std::move(certificate)});
  }
  return candidates;
}

/** Key by key, and for each key certificate by certificate. What lies in several tokens is one identity, in
 * the first of them; a key that may sign goes before one that may not. */
std::vector<Owned<>> findIdentities(const Query& query) {
  std::vector<Owned<>> identities;
  std::set<std::pair<std::vector<std::uint8_t>, bool>> known;
  const std::vector<Candidate> candidates = findCertificates(query);
  if (candidates.empty()) return identities;
  for (const auto& key : listPrivateKeys()) {
    if (query.mustSign && !key->canSign()) continue;
    for (const Candidate& candidate : candidates) {
      if (key->belongsTo(candidate.stored, candidate.certificate->fields().publicKey) &&
          known.emplace(candidate.stored.der, key->canSign()).second) {
        const auto certificate = [&candidate] {
          candidate.certificate->retain();
          return Owned<Certificate>(candidate.certificate.get());
        };
        identities.emplace_back(new Identity(certificate(), Owned<Key>(new PrivateKey(key, certificate()))));
      }
    }
  }
  return identities;
}

OSStatus copyMatching(CFDictionaryRef dictionary, CFTypeRef* result) {
  const auto query = readQuery(dictionary);
  if (!query) return errSecParam;
  if (const OSStatus status = openKeyStore(); status != errSecSuccess) return status;
  std::vector<Owned<>> identities = findIdentities(*query);
  if (identities.empty()) return statusOfNothingFound();
  *result = handOver<CFTypeRef>(makeArray(std::move(identities)));
  return errSecSuccess;
}

}  // namespace
}  // namespace vorn::frameworks

using namespace vorn::frameworks;

OSStatus SecItemCopyMatching(CFDictionaryRef query, CFTypeRef* result) {
  *result = nullptr;
  try {
    return copyMatching(query, result);
  } catch (const std::bad_alloc&) {
    return errSecAllocate;
  } catch (...) {
    return errSecInternalComponent;
  }
}
