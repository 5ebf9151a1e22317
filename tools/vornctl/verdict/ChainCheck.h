#pragma once

#include <ctime>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

#include "vornctl/identities/KeyStoreView.h"

namespace vorn::vornctl {

inline constexpr std::string_view kNoChain = "NO_CERTIFICATE_CHAIN_FOUND";
inline constexpr std::string_view kProhibited = "PROHIBITED_CERTIFICATE";

/** Something that is to be said of a document. The code keeps its meaning. */
struct Remark {
  std::string_view code;
  std::string message;
  std::string part = {}; /**< the element that it is about; empty for the whole document */
};

/** Adds to the trusted all certificates of a file, PEM or DER, or of all files of a folder; what is none in a
 * folder is skipped. Throws std::invalid_argument, with a text for people, when there is none at all. */
void addTrusted(const std::filesystem::path& path, Authorities& authorities);

struct ChainResult {
  std::optional<Remark> fault = {}; /**< none: the chain leads to one who is trusted */
  DerCertificates chain = {};       /**< from the signer's to the trusted one; empty with a fault */
  int weakKeyBits = 0;              /**< of an authority's key that is weak; 0 when none of the chain is */
  bool isBySomebodyElse = false; /**< the fault: a namesake of the authority did not sign the certificate */
};

/** Has OpenSSL build and check the chain of the certificate, as of the time. Revocation is not looked up. */
ChainResult checkChain(const std::string& certificate, const Authorities& authorities, std::time_t time);

}  // namespace vorn::vornctl
