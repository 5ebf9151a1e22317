#pragma once

#include <cstdint>
#include <vector>

/** Whom the key store trusts. */
namespace vorn::frameworks {

enum class Trust {
  kNone,
  kForSignatures,    /**< to vouch for persons: an authority for e-mail, clients or objects */
  kForItself,        /**< a peer for e-mail or objects */
  kForOtherPurposes, /**< as an authority for web sites only */
  kProhibited,
};

struct StoredCertificate {
  std::vector<std::uint8_t> der;
  Trust trust = Trust::kNone;
};

/**
 * Every certificate of the key store, with the trust that its flags give; the lists of authorities that come
 * with a system are none of the user's. Asks for no password. Empty when there is no store.
 */
std::vector<StoredCertificate> listCertificatesWithTrust();

}  // namespace vorn::frameworks
