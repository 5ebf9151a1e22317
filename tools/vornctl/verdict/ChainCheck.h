#pragma once

#include <ctime>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "shared/verification/Objection.h"

namespace vorn::vornctl {

inline constexpr std::string_view kNoChain = "NO_CERTIFICATE_CHAIN_FOUND";
inline constexpr std::string_view kProhibited = "PROHIBITED_CERTIFICATE";

/** Certificates as DER bytes. */
using Certificates = std::vector<std::string>;

/** Whom to believe who a signer is. */
struct Authorities {
  Certificates trusted = {};          /**< a chain that leads to one of them is good */
  Certificates peers = {};            /**< trusted for themselves: nobody whom one of them vouches for */
  Certificates known = {};            /**< others that may stand on the way */
  Certificates prohibited = {};       /**< no chain with one of them is good */
  Certificates forOtherPurposes = {}; /**< trusted, but not to say who signs */
};

/** The key store's own certificates, by their trust flags. Nothing where there is no key store. */
Authorities authoritiesOfKeyStore();

/**
 * Adds to the trusted all certificates of a file, PEM or DER, or of all files of a folder; what is none in a
 * folder is skipped. Throws std::invalid_argument, with a text for people, when there is none at all.
 */
void addTrusted(const std::filesystem::path& path, Authorities& authorities);

struct ChainResult {
  std::optional<verification::Objection> fault = {}; /**< none: the chain leads to one who is trusted */
  Certificates chain = {};       /**< from the signer's to the trusted one; empty with a fault */
  int weakKeyBits = 0;           /**< of an authority's key that is weak; 0 when none of the chain is */
  bool isBySomebodyElse = false; /**< the fault: a namesake of the authority did not sign the certificate */
};

/** Has OpenSSL build and check the chain of the certificate, as of the time. Revocation is not looked up. */
ChainResult checkChain(const std::string& certificate, const Authorities& authorities, std::time_t time);

}  // namespace vorn::vornctl
