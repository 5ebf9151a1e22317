#pragma once

#include <cstddef>
#include <optional>

#include "shared/base/SignatureAlgorithm.h"
#include "shared/json/jsonxx.h"

namespace vorn {

/**
 * The four members that name a user. Throws InvalidArgumentException with the
 * text for the first that is missing.
 */
void validateUserDetails(const jsonxx::Object& userDetails);

/** The whole of a sign request, before the key store is touched. Throws as above. */
void validateSignRequest(const jsonxx::Object& request);

/**
 * RSA with SHA-256 unless the request names another. Throws
 * InvalidSignatureAlgorithmException for an unknown name.
 */
SignatureAlgorithm requestedAlgorithm(const jsonxx::Object& request);

/**
 * How many bytes the caller takes at once, if it says. Throws InvalidArgumentException for fewer than serve.
 */
std::optional<std::size_t> requestedLargestAnswer(const jsonxx::Object& request);

}  // namespace vorn
