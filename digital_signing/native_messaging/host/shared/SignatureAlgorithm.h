#pragma once

/** The algorithms that a request can name, known to the signer as `XMLSigner::SignatureAlgorithm`. */
enum class SignatureAlgorithm { RSA_SHA1 = 0, RSA_SHA256 = 1, RSA_SHA512 = 2 };
