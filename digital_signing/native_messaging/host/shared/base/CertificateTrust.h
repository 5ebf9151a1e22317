#pragma once

#include <string>

namespace vorn {

/** What somebody has said in a key store of a certificate. */
enum class Trust {
  kNone,
  kForSignatures,    /**< to vouch for persons: an authority for e-mail, clients or objects */
  kForItself,        /**< a peer for e-mail or objects */
  kForOtherPurposes, /**< as an authority for web sites only */
  kProhibited,
};

struct StoredCertificate {
  std::string der;
  Trust trust = Trust::kNone;
};

}  // namespace vorn
