#pragma once

#include <string>
#include <string_view>

namespace vorn::verification {

/** What stands against a signature. The code is for programs and keeps its meaning; those that ETSI EN 319
 * 102-1 has a name for have that name. The message is for people, and may hold text of the document. */
struct Objection {
  std::string_view code;
  std::string message;
};

inline constexpr std::string_view kNotSigned = "NOT_SIGNED";
/** An element is missing, or has another form than the one that the host makes. */
inline constexpr std::string_view kFormatFailure = "FORMAT_FAILURE";
inline constexpr std::string_view kHashFailure = "HASH_FAILURE";
inline constexpr std::string_view kSignatureFailure = "SIG_CRYPTO_FAILURE";
/** An algorithm or a key's size that is not accepted. */
inline constexpr std::string_view kCryptoConstraints = "CRYPTO_CONSTRAINTS_FAILURE";

}  // namespace vorn::verification
